#include <tillvane/platform/posix/locked_file_posix.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <tillvane/platform/posix/descriptor_posix.h>

namespace platform {

namespace {

// Each try but the last found that the file was replaced just then.
constexpr int kOpenTries = 100;

int FlagsFor(OpenFor purpose) {
  switch (purpose) {
    case OpenFor::kReading:
      return O_RDONLY;
    case OpenFor::kReadingOwn:
      return O_RDONLY | O_NOFOLLOW;
    case OpenFor::kReplacing:
      return O_RDWR | O_CREAT;
  }
  return O_RDONLY;
}

/// \return 0, or the errno of what is not to be locked
int RefusalOf(const struct stat& opened, OpenFor purpose) {
  const bool is_file = S_ISREG(opened.st_mode);
  if (purpose == OpenFor::kReadingOwn) {
    // Another user can make a second name of a file of this one's. What has none any more was replaced.
    return is_file && opened.st_uid == geteuid() && opened.st_nlink <= 1 ? 0 : EPERM;
  }
  return is_file || S_ISDIR(opened.st_mode) ? 0 : EOPNOTSUPP;
}

bool IsStillAt(const char* path, const struct stat& opened) {
  struct stat there;
  return stat(path, &there) == 0 && there.st_dev == opened.st_dev && there.st_ino == opened.st_ino;
}

}  // namespace

int OpenLocked(const char* path, OpenFor purpose, FileLock lock, unsigned int mode) {
  for (int i = 0; i < kOpenTries; ++i) {
    Descriptor file(OpenWithLock(path, FlagsFor(purpose), lock, mode));
    if (!file.IsOpen()) {
      if (errno == EOPNOTSUPP && purpose == OpenFor::kReadingOwn) errno = EPERM;
      return -1;
    }
    struct stat opened;
    if (fstat(file.Get(), &opened) != 0) return -1;
    if (const int refusal = RefusalOf(opened, purpose)) {
      errno = refusal;
      return -1;
    }
    if (!IsStillAt(path, opened)) continue;
    // Not by O_TRUNC: a file that another one holds is left as it is.
    if (purpose == OpenFor::kReplacing && ftruncate(file.Get(), 0) != 0) return -1;
    return file.Release();
  }
  errno = EAGAIN;
  return -1;
}

void DeleteHeld(const char* path, int file) {
  struct stat held, there;
  if (fstat(file, &held) != 0 || lstat(path, &there) != 0) return;
  if (there.st_dev == held.st_dev && there.st_ino == held.st_ino) unlink(path);
}

}  // namespace platform
