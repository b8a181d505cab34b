#include <fcntl.h>
#include <unistd.h>

#include <tillvane/platform/posix/pipe_posix.h>

namespace platform {

// One call, so that a process forked by another thread never inherits the ends.
bool OpenPipe(int ends[2], bool is_non_blocking) {
  if (pipe2(ends, O_CLOEXEC | (is_non_blocking ? O_NONBLOCK : 0)) == 0) return true;
  ends[0] = ends[1] = -1;
  return false;
}

}  // namespace platform
