#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include <tests/support/background.h>
#include <tests/support/sockets.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LSignalObjectNamed.h>

/// \file
/// Sockets at paths, for tests of named signals.

namespace support {

/// What fits an address: its path without the terminator.
inline constexpr std::size_t kLongestLocalPath = sizeof(sockaddr_un::sun_path) - 1;

inline sockaddr_un LocalAddress(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, kLongestLocalPath);
  return address;
}

/// A socket that listens at a path, whose file it leaves.
class LocalListener {
 public:
  explicit LocalListener(const std::string& path) : LocalListener(LocalAddress(path)) {}
  explicit LocalListener(const sockaddr_un& address) {
    const auto* const at = reinterpret_cast<const sockaddr*>(&address);
    RequireSocketCall(bind(socket_.Descriptor(), at, sizeof address) == 0, "bind");
    RequireSocketCall(listen(socket_.Descriptor(), 5) == 0, "listen");
  }

  bool HasConnection() const {
    pollfd polled{socket_.Descriptor(), POLLIN, 0};
    return poll(&polled, 1, 0) > 0;
  }
  /// The next connection, a socket that does not block.
  LIPSocketTCP Accept() const {
    return LIPSocketTCP(accept4(socket_.Descriptor(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
  }

 private:
  LIPSocketTCP socket_{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

/// Tries to connect, as any program can. \return 0 or errno
inline int ErrorOfConnecting(const std::string& path) {
  const LIPSocketTCP socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const sockaddr_un address = LocalAddress(path);
  return connect(socket.Descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? 0 : errno;
}

/// Signals until something is so: nobody hears a signal that comes before the socket listens.
template <class Condition>
bool SignalUntil(LSignalObjectNamed& signaller, const Condition& condition) {
  return WaitUntil([&] {
    signaller.Signal();
    return condition();
  });
}

/// A wait of another object, by which the wait was signalled. \return whether it was
inline bool ReceivesASignal(LSignalObjectNamed& waiting, LSignalObjectNamed& signaller) {
  bool received = false;
  const Background wait([&] { received = waiting.WaitSignal(kLongMs); });
  return SignalUntil(signaller, [&] { return wait.IsDone(); }) && received;
}

}  // namespace support
