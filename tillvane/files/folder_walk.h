#pragma once

#include <dirent.h>
#include <fcntl.h>

#include <cstddef>

#include <tillvane/files/path_text.h>

/// \file
/// What walks through folders have in common. They reach each entry from its open folder, which the system need not
/// look for again, and keep its path beside that: which entries are met is decided by paths as `_MakeFilePath` joins
/// them. Folders are met through links, once a level of the stack; how many entries a folder has costs nothing.

namespace files {

/// The path of the folder in which a walk is, and in turn of each of its entries.
class WalkPath {
 public:
  explicit WalkPath(const char* folder);
  WalkPath(const WalkPath&) = delete;
  WalkPath& operator=(const WalkPath&) = delete;

  const char* Get() const { return text_; }

  /// The path is that of an entry while this lives.
  class Entry {
   public:
    Entry(WalkPath& path, const char* name);
    ~Entry();
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

    /// False when the joined path is too long, or leads elsewhere: behind a folder whose name ends with '\\' there is
    /// no '/'. Then the entry is to be left alone.
    bool IsReached() const { return is_reached_; }

   private:
    WalkPath& path_;
    std::size_t folder_length_;
    bool is_reached_;
  };

 private:
  char text_[kPathSize];
  std::size_t length_;
};

/// An open listing of a folder but for '.' and '..', which links lead to as well; none when the folder does not open.
class FolderListing {
 public:
  /// \param folder an open one for a name in it, AT_FDCWD for a path
  FolderListing(int folder, const char* name);
  ~FolderListing();
  FolderListing(const FolderListing&) = delete;
  FolderListing& operator=(const FolderListing&) = delete;

  /// \return null at the end
  const dirent* Next();

  /// -1 of none.
  int Descriptor() const { return stream_ != nullptr ? dirfd(stream_) : -1; }

 private:
  DIR* stream_ = nullptr;
};

/// Is this entry a folder, or a link to one? The system is asked where the listing does not say.
bool IsFolder(const dirent& entry, const char* path);

}  // namespace files
