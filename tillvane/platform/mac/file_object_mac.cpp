#include <tillvane/platform/file_object.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>

#include <tillvane/platform/posix/descriptor_posix.h>
#include <tillvane/platform/posix/file_bytes_posix.h>
#include <tillvane/platform/posix/locked_file_posix.h>

namespace platform {

namespace {

/// Deletes a file that was made here, unless somebody else has it or has put another in its place. Leaves errno as it
/// was.
void DeleteUnlocked(const char* path) {
  const int error = errno;
  {
    const Descriptor file(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat opened;
    const bool is_empty = file.IsOpen() && fstat(file.Get(), &opened) == 0 && opened.st_size == 0;
    // Where there are no locks nobody has one.
    const bool is_free = is_empty && (flock(file.Get(), LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK);
    if (is_free) DeleteHeld(path, file.Get());
  }
  errno = error;
}

}  // namespace

int SetExtendedAttribute(const char* path, const char* name, const void* value, unsigned long size) {
  return setxattr(path, name, value, size, 0, 0);
}

int ClearFileFlags(const char* path) {
  struct stat status;
  if (lstat(path, &status) != 0) return -1;
  if (S_ISDIR(status.st_mode)) {
    errno = EOPNOTSUPP;
    return -1;
  }
  // Not by chflags: it may be a link by now.
  return lchflags(path, 0);
}

int OpenWithLock(const char* path, int flags, FileLock lock, unsigned int mode) {
  const int lock_flag = lock == FileLock::kShared ? O_SHLOCK : O_EXLOCK;
  const int file = open(path, flags | lock_flag | O_NONBLOCK | O_CLOEXEC, mode);
  // Two numbers here.
  if (file < 0 && errno == ENOTSUP) errno = EOPNOTSUPP;
  return file;
}

int CreateLocked(const char* path, const void* content, unsigned long size, unsigned int mode) {
  const int file = OpenWithLock(path, O_RDWR | O_CREAT | O_EXCL | O_TRUNC, FileLock::kExclusive, mode);
  if (file >= 0) {
    [[maybe_unused]] const ssize_t written = write(file, content, size);
    return file;
  }
  // It was made, but could not be locked.
  if (errno == EAGAIN || errno == EOPNOTSUPP) DeleteUnlocked(path);
  return -1;
}

// APFS may tell of holes where there are bytes that were written a moment ago.
bool MayHaveHoles(int) { return false; }

unsigned long CopyBytes(int from, int to, unsigned long size, Holes) {
  // The system copies whole files only.
  return CopyInSteps(&CopyThroughMemory, from, to, size);
}

}  // namespace platform
