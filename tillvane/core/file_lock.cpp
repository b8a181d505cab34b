#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

#include <tillvane/core/LFileLock.h>
#include <tillvane/core/sleep_for.h>

namespace {

/// Linux would lock a pipe or a terminal as well, and whoever else has it open would wait.
bool IsFileOrFolder(int fd) {
  struct stat status;
  if (fstat(fd, &status) != 0) return false;
  if (S_ISREG(status.st_mode) || S_ISDIR(status.st_mode)) return true;
  errno = EINVAL;
  return false;
}

}  // namespace

int flocktimed(int fd, int operation, unsigned int ms) {
  if (!IsFileOrFolder(fd)) return -1;
  // Twice a sleep that is shorter than the longest time does not fit 32 bits.
  unsigned long long delay = (ms >> 5) + 1ULL;
  do {
    if (flock(fd, operation) == 0) return 0;
    if (errno != EWOULDBLOCK) return -1;
    core::SleepFor(static_cast<unsigned int>(delay));
    delay *= 2;
  } while (delay < ms);
  return 0;
}
