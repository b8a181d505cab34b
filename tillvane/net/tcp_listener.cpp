#include <arpa/inet.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include <tillvane/core/poll_for.h>
#include <tillvane/diag/LDebugThread.h>
#include <tillvane/net/LIPAddress.h>
#include <tillvane/net/LTCPListener.h>
#include <tillvane/net/open_socket.h>
#include <tillvane/platform/stream_socket.h>

namespace {

constexpr unsigned int kNoLimit = 0xFFFFFFFF;
constexpr unsigned int kRetryMs = 30000;
constexpr int kBacklog = 50;

/// The port that a socket is bound to, as a plain number; 0 when the system does not tell.
unsigned short PortOf(int descriptor) {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  if (getsockname(descriptor, reinterpret_cast<sockaddr*>(&address), &size) != 0) return 0;
  return ntohs(address.sin_port);
}

/// Forgets the port at its end.
class BoundPortForgotten {
 public:
  explicit BoundPortForgotten(std::atomic<unsigned short>& port) : port_(port) {}
  ~BoundPortForgotten() { port_.store(0); }
  BoundPortForgotten(const BoundPortForgotten&) = delete;
  BoundPortForgotten& operator=(const BoundPortForgotten&) = delete;

 private:
  std::atomic<unsigned short>& port_;
};

}  // namespace

// The place and the width of the field are part of the binary interface.
struct LTCPListenerLayout {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
  static_assert(offsetof(LTCPListener, port_) == sizeof(LThread));
  static_assert(sizeof(LTCPListener::port_) == 2);
#pragma GCC diagnostic pop
};

LTCPListener::LTCPListener(unsigned short port) : port_(port) {}

LTCPListener::~LTCPListener() { StopThreadAndWait(); }

void LTCPListener::ThreadFunction() {
  LDebugThreadSetName("LTCPListener");
  // Its waits would fail at once, and it would neither rest nor hear that it is to stop.
  if (StopSignal().filedes[0] < 0 || EndedSignal().filedes[0] < 0) return;
  do ListenAndServe();
  while (!ProcessWait(kRetryMs));
}

void LTCPListener::ListenAndServe() {
  // Also when whoever serves a connection ends the thread.
  const BoundPortForgotten forgotten(bound_port_);
  const LIPSocketTCP listening = Listen();
  if (listening.Descriptor() >= 0) Serve(listening.Descriptor());
}

/// A socket that listens, or none.
LIPSocketTCP LTCPListener::Listen() {
  constexpr int yes = 1;
  const LIPAddressWithPort any(INADDR_ANY, port_);
  const sockaddr_in& address = any.SocketAddress();
  LIPSocketTCP socket = net::OpenSocket();
  const int descriptor = socket.Descriptor();
  if (descriptor < 0) return {};
  if (setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0) return {};
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return {};
  if (listen(descriptor, kBacklog) != 0) return {};
  bound_port_.store(PortOf(descriptor));
  return socket;
}

/// \return false when there is none to accept: the thread is to stop, or the wait has failed or was interrupted
bool LTCPListener::WaitForConnection(int listening) {
  std::array<pollfd, 2> polled{{{listening, POLLIN, 0}, {StopSignal().filedes[0], POLLIN, 0}}};
  return core::PollReadable(polled.data(), polled.size(), kNoLimit) > 0 && polled[0].revents != 0;
}

void LTCPListener::Serve(int listening) {
  do {
    if (!WaitForConnection(listening)) return;
    LIPSocketTCP connection(platform::AcceptStream(listening));
    if (connection.Descriptor() >= 0) {
      ProcessConnection(connection);
    } else if (errno != ECONNABORTED) {
      return;
    }
  } while (!IsToStop());
}
