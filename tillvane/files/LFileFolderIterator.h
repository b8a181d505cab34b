#pragma once

#include <dirent.h>

#include <tillvane/export.h>
#include <tillvane/files/LFile.h>

/// \file
/// The entries of a folder, one after the other.

/// Lists a folder's entries that match a pattern, one after the other, in the system's order. Lower and upper case of
/// ASCII letters are the same to a pattern (`LFile::IsMatch`), as `strlwr` has them, which follows the locale: a
/// Turkish one has no 'i' for an 'I'. Names that begin with '.' or with "__MACOSX" never match.
///
///     LFile::FolderIterator files;
///     for (int found = files.Open("/tmp", "*.txt"); found != 0; found = files.Next()) Use(files.entry.d_name);
///
/// What is done to the folder meanwhile may or may not show. How many entries there are costs no memory. Used by one
/// thread; the stream is closed at the end of the listing, by the next `Open` and with the object. The order of the
/// fields and of the virtual functions is part of the binary interface.
struct TILLVANE_API LFile::FolderIterator {
  /// Stands nowhere: before Open() there is nothing to list.
  FolderIterator();
  /// Closes the stream.
  virtual ~FolderIterator();

  /// Does the listing show this name?
  virtual bool _Matches(const char* name) const;

  FolderIterator(const FolderIterator&) = delete;
  FolderIterator& operator=(const FolderIterator&) = delete;

  /// Begins a listing, in place of the one before.
  /// \return 1 on the first entry that matches; 0 when there is none, or no such folder
  int Open(const char* folder, const char* pattern);

  /// Begins the listing of everything in a folder. The path of a file is taken for its folder, and its name for the
  /// pattern: it lists the file itself, and those whose names differ from it only in case. A path with '*' in it is
  /// not taken apart.
  /// \return as above
  int Open(const char* path);

  /// Goes to the next entry that matches.
  /// \return 1, or 0 at the end
  int Next();

  /// Goes to the next entry of any name.
  /// \return 1, or 0 at the end
  int _GetNextFile();

  DIR* dir = nullptr;  ///< null before and behind a listing
  dirent entry;        ///< where the listing stands; its name is empty when it stands nowhere
  char folder[260];    ///< what is listed, cut to 259 characters
  char pattern[260];   ///< cut to 259 characters
};

/// Lists everything in a folder, also '.', '..' and what is hidden, whatever the pattern.
struct TILLVANE_API LFile::FolderIteratorAllFiles : LFile::FolderIterator {
  /// Always.
  bool _Matches(const char* name) const override;
};
