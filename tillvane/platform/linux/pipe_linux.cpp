#include <fcntl.h>
#include <unistd.h>

#include <tillvane/platform/pipe.h>

namespace platform {

bool OpenSignalPipe(int ends[2]) {
  // One call, so that a process forked by another thread never inherits the ends.
  if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) == 0) return true;
  ends[0] = ends[1] = -1;
  return false;
}

}  // namespace platform
