#include <fcntl.h>
#include <unistd.h>

#include <tillvane/platform/posix/pipe_posix.h>

namespace platform {

namespace {

void AddFlags(int descriptor, int get, int set, int flags) {
  const int before = fcntl(descriptor, get);
  fcntl(descriptor, set, (before < 0 ? 0 : before) | flags);
}

}  // namespace

// A process that another thread forks between the calls inherits the ends: the system has no call that does all.
bool OpenPipe(int ends[2], bool is_non_blocking) {
  ends[0] = ends[1] = -1;
  if (pipe(ends) != 0) return false;
  for (int i = 0; i < 2; ++i) {
    if (is_non_blocking) AddFlags(ends[i], F_GETFL, F_SETFL, O_NONBLOCK);
    AddFlags(ends[i], F_GETFD, F_SETFD, FD_CLOEXEC);
  }
  return true;
}

}  // namespace platform
