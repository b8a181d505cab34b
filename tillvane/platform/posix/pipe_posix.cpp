#include <tillvane/platform/posix/pipe_posix.h>

#include <fcntl.h>
#include <unistd.h>

#include <tillvane/platform/pipe.h>

namespace platform {

namespace {

/// \return the descriptor, or its copy above the standard ones; -1 when there is none to be had
int AboveStandardStreams(int descriptor) {
  if (descriptor > STDERR_FILENO) return descriptor;
  const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  close(descriptor);
  return copy;
}

}  // namespace

bool OpenSignalPipe(int ends[2]) { return OpenPipe(ends, true); }

bool OpenChildPipe(int ends[2]) {
  if (!OpenPipe(ends, false)) return false;
  for (int i = 0; i < 2; ++i) ends[i] = AboveStandardStreams(ends[i]);
  if (ends[0] >= 0 && ends[1] >= 0) return true;
  for (int i = 0; i < 2; ++i) {
    if (ends[i] >= 0) close(ends[i]);
    ends[i] = -1;
  }
  return false;
}

}  // namespace platform
