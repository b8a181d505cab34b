#include <sys/socket.h>
#include <sys/types.h>

#include <cerrno>

#include <tillvane/core/poll_for.h>
#include <tillvane/net/LProcessSocket.h>
#include <tillvane/net/socket_slices.h>
#include <tillvane/platform/stream_socket.h>

using net::kDone;
using net::kFailed;
using net::kStopped;

unsigned int ProcessSend(LProcessInterface& process, LIPSocketTCPRef socket, const void* data, unsigned long length,
                         unsigned int timeout) {
  const int flags = platform::NoSignalSendFlag() | MSG_DONTWAIT;
  const char* rest = static_cast<const char*>(data);
  net::SliceBudget budget(timeout);
  for (;;) {
    if (process.IsToStop()) return kStopped;
    const ssize_t sent = send(socket.Descriptor(), rest, length, flags);
    if (sent < 0 && errno != EAGAIN && errno != EWOULDBLOCK) return kFailed;
    if (sent >= 0) {
      rest += sent;
      length -= static_cast<unsigned long>(sent);
      if (length == 0) return kDone;
    }
    pollfd polled{socket.Descriptor(), POLLOUT, 0};
    const int ready = core::PollFor(&polled, 1, net::kSliceMs);
    if (ready < 0 || (ready == 0 && !budget.SpendSlice())) return kFailed;
  }
}
