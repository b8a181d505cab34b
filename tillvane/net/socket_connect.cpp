#include <sys/socket.h>

#include <array>
#include <cerrno>

#include <tillvane/core/poll_for.h>
#include <tillvane/net/LProcessSocket.h>
#include <tillvane/net/open_socket.h>
#include <tillvane/net/socket_slices.h>

namespace {

using net::kDone;
using net::kFailed;
using net::kStopped;

/// Waits for a connection that is under way.
unsigned int WaitForConnection(LProcessInterface& process, LIPSocketTCPRef socket, unsigned int timeout) {
  net::SliceBudget budget(timeout);
  do {
    pollfd polled{socket.Descriptor(), POLLOUT | POLLPRI, 0};
    const int ready = core::PollFor(&polled, 1, net::kSliceMs);
    if (ready < 0) return kFailed;
    // Writable is connected, and a connection that has failed is writable too: the error is left for the first use.
    if (ready > 0) return (polled.revents & (POLLOUT | POLLERR)) != 0 ? kDone : kFailed;
    if (process.IsToStop()) return kStopped;
  } while (budget.SpendSlice());
  return kFailed;
}

unsigned int Connect(LProcessInterface& process, LIPSocketTCPRef socket, const LIPAddressWithPort& address,
                     unsigned int timeout) {
  if (!address.IsResolved()) return kFailed;
  const sockaddr_in& target = address.SocketAddress();
  if (connect(socket.Descriptor(), reinterpret_cast<const sockaddr*>(&target), sizeof target) == 0) {
    // Nothing reads it but a debugger.
    std::array<char, 16> connected_to;
    address.FormatAddress(connected_to.data(), connected_to.size());
    return kDone;
  }
  return errno == EINPROGRESS ? WaitForConnection(process, socket, timeout) : kFailed;
}

}  // namespace

unsigned int ProcessConnect(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort& address,
                            unsigned int timeout) {
  // First the old one: in a process that has no descriptor left the new one takes its place.
  socket.Close();
  socket = net::OpenSocket();
  const unsigned int code = Connect(process, socket, address, timeout);
  if (code != kDone) socket.Close();
  return code;
}

unsigned int ProcessConnect(LProcessInterface& process, LIPSocketTCP& socket,
                            const LIPAddressMultiHomedWithPort& addresses, unsigned int timeout) {
  for (unsigned int i = 0; i < addresses.Count(); ++i) {
    const unsigned int code = ProcessConnect(process, socket, addresses.At(i), timeout);
    if (code != kFailed) return code;
  }
  return kFailed;
}
