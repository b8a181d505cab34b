#pragma once

/// \file
/// What is done with a file as a whole, and what a file is besides its bytes. Paths are terminated bytes as the system
/// takes them; links are followed; sizes are bytes. Functions answer 0, or -1 with errno; a null path is one that
/// fails. Descriptors are the caller's to close, and closed on exec. Any thread.

namespace platform {

/// Sets an extended attribute, replacing one of the same name.
/// \param name as macOS has it; a system with several sets of names puts it among the user's
int SetExtendedAttribute(const char* path, const char* name, const void* value, unsigned long size);

/// Clears what keeps a file's owner from deleting it: immutable, append only. A link is not followed. Fails for a
/// folder, and for what has no flags: on Linux all but files.
int ClearFileFlags(const char* path);

enum class OpenFor {
  kReading,
  kReadingOwn,  ///< as kReading, but a link is not followed (ELOOP), and EPERM for all but a file of this user's own
                ///< with one name
  kReplacing,   ///< reading and writing; made when it is missing, and emptied as soon as the lock is held
};

enum class FileLock { kShared, kExclusive };

/// Opens a file or folder together with an advisory lock of it, without ever waiting. The file is the one that the path
/// leads to while the lock is held: never one that was deleted or replaced meanwhile.
/// \param mode of a file that is made
/// \return the descriptor, or -1 with errno: EAGAIN when somebody else has a lock that excludes this one, EOPNOTSUPP
///   for what is neither a file nor a folder
int OpenLocked(const char* path, OpenFor purpose, FileLock lock, unsigned int mode);

/// Makes a file, open for reading and writing, that has its content and an exclusive lock when others first see it: in
/// one step where the file system can keep a file that has no name yet, otherwise locked as soon as it is there. What
/// the disk has no room for is missing.
/// \param path an absolute one, where nothing may be: EEXIST
/// \return the descriptor, or -1 with errno
int CreateLocked(const char* path, const void* content, unsigned long size, unsigned int mode);

/// Deletes a file that is open, unless somebody has deleted it meanwhile or put something else in its place. A link is
/// not followed.
void DeleteHeld(const char* path, int file);

/// May a file have parts that take no room and read as zeros?
bool MayHaveHoles(int file);

enum class Holes {
  kNone,  ///< everything is copied as bytes
  kKept,  ///< where the system tells reliably where they are
};

/// Copies bytes from one open file to another: from where the first stands to the same place in the second, whose end
/// that is. Both are then behind what was copied. The system does it by itself where it can.
/// \return how many were copied: fewer than asked for at the source's end, with an errno of 0, and where something
///   failed, with errno
unsigned long CopyBytes(int from, int to, unsigned long size, Holes holes);

/// Copies a file's bytes and permission bits, over a file that is there, or a folder with all that is in it (links as
/// links), into a folder that is there. Of a failed copy of a file nothing remains; a folder is copied as far as it
/// can be, up to paths of 259 bytes below the given one.
/// \return 0 when everything was copied; otherwise -1, with EOPNOTSUPP for what is neither a file nor a folder, and
///   EINVAL for a file onto itself or a folder into itself
int CopyObject(const char* source, const char* destination);

}  // namespace platform
