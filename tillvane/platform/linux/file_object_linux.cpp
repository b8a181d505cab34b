#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <linux/fs.h>
#include <linux/limits.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include <tillvane/platform/file_object.h>
#include <tillvane/platform/posix/descriptor_posix.h>
#include <tillvane/platform/posix/locked_file_posix.h>

namespace platform {

int SetExtendedAttribute(const char* path, const char* name, const void* value, unsigned long size) {
  char user_name[XATTR_NAME_MAX + 1];
  const int length = std::snprintf(user_name, sizeof user_name, "user.%s", name);
  if (length < 0 || length > XATTR_NAME_MAX) {
    errno = ERANGE;
    return -1;
  }
  return setxattr(path, user_name, value, size, 0);
}

int ClearFileFlags(const char* path) {
  struct stat status;
  if (lstat(path, &status) != 0) return -1;
  if (!S_ISREG(status.st_mode)) {
    // To open a device or a pipe may do something to it.
    errno = EOPNOTSUPP;
    return -1;
  }
  const Descriptor file(open(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.IsOpen()) return -1;
  // The kernel reads and writes an int, whatever the call's number says.
  int flags = 0;
  if (ioctl(file.Get(), FS_IOC_GETFLAGS, &flags) != 0) return -1;
  flags &= ~(FS_IMMUTABLE_FL | FS_APPEND_FL);
  return ioctl(file.Get(), FS_IOC_SETFLAGS, &flags);
}

int OpenWithLock(const char* path, int flags, FileLock lock, unsigned int mode) {
  Descriptor file(open(path, flags | O_NONBLOCK | O_CLOEXEC, mode));
  if (!file.IsOpen() || flock(file.Get(), (lock == FileLock::kShared ? LOCK_SH : LOCK_EX) | LOCK_NB) != 0) return -1;
  return file.Release();
}

namespace {

/// \return the folder of an absolute path, with a slash at its end
std::string FolderOf(const char* path) {
  const char* const slash = std::strrchr(path, '/');
  return slash == nullptr ? std::string() : std::string(path, slash + 1);
}

/// Locks a new file and writes its content.
bool LockAndFill(int file, const void* content, unsigned long size) {
  if (flock(file, LOCK_EX | LOCK_NB) != 0) return false;
  [[maybe_unused]] const ssize_t written = write(file, content, size);
  return true;
}

/// Gives a file that has no name one, where nothing is yet. Its number in /proc is the one way that needs no privilege.
bool Name(int file, const char* path) {
  const std::string unnamed = "/proc/self/fd/" + std::to_string(file);
  return linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, path, AT_SYMLINK_FOLLOW) == 0;
}

}  // namespace

int CreateLocked(const char* path, const void* content, unsigned long size, unsigned int mode) {
  Descriptor unnamed(open(FolderOf(path).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, mode));
  if (unnamed.IsOpen() && LockAndFill(unnamed.Get(), content, size)) {
    if (Name(unnamed.Get(), path)) return unnamed.Release();
    if (errno == EEXIST) return -1;
  }
  // Not every file system has files without names, nor every system /proc.
  Descriptor file(open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!file.IsOpen()) return -1;
  if (LockAndFill(file.Get(), content, size)) return file.Release();
  const int error = errno;
  DeleteHeld(path, file.Get());
  errno = error;
  return -1;
}

}  // namespace platform
