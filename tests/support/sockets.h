#pragma once

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <tests/support/waiting.h>
#include <tillvane/core/LProcessInterface.h>
#include <tillvane/net/LProcessSocket.h>

/// \file
/// Connections over loopback, for tests. What a test needs and does not get ends the process.

namespace support {

inline const unsigned int kLoopback = htonl(INADDR_LOOPBACK);

/// Stops at the question of this number, counted from 1, or when it is told to; counts the questions.
class StopAtQuestion : public LProcessInterfaceVoid {
 public:
  explicit StopAtQuestion(int question = 0) : question_(question) {}
  bool IsToStop() override { return ++asked == question_ || stop; }

  std::atomic<bool> stop{false};
  std::atomic<int> asked{0};

 private:
  const int question_;
};

inline void RequireSocketCall(bool worked, const char* call) {
  if (worked) return;
  std::perror(call);
  std::abort();
}

/// A port of loopback that the system has chosen, taken and not listened on: who connects is refused.
class BoundPort {
 public:
  BoundPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const LIPAddressWithPort any_port(kLoopback, 0);
    const auto* const address = reinterpret_cast<const sockaddr*>(&any_port.SocketAddress());
    RequireSocketCall(bind(Descriptor(), address, sizeof(sockaddr_in)) == 0, "bind");
  }

  int Descriptor() const { return socket_.Descriptor(); }
  unsigned short Number() const {
    sockaddr_in bound = {};
    socklen_t size = sizeof bound;
    RequireSocketCall(getsockname(Descriptor(), reinterpret_cast<sockaddr*>(&bound), &size) == 0, "getsockname");
    return ntohs(bound.sin_port);
  }
  LIPAddressWithPort Address() const { return {kLoopback, Number()}; }

 private:
  LIPSocketTCP socket_;
};

/// One that is listened on.
class LoopbackPort : public BoundPort {
 public:
  explicit LoopbackPort(int backlog = 10) { RequireSocketCall(listen(Descriptor(), backlog) == 0, "listen"); }

  /// Waits for the next connection. The socket blocks.
  LIPSocketTCP Accept() const {
    LIPSocketTCP accepted(accept4(Descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
    RequireSocketCall(accepted.Descriptor() >= 0, "accept4");
    return accepted;
  }
};

/// A port on loopback that answers nothing: connecting to it hangs. The queue of whoever listens there is full, and the
/// system drops what comes on top of it.
class SilentPort {
 public:
  SilentPort() {
    LProcessInterfaceVoid process;
    for (LIPSocketTCP& one : queued_) ProcessConnect(process, one, port_.Address(), 0);
  }

  unsigned short Number() const { return port_.Number(); }
  LIPAddressWithPort Address() const { return port_.Address(); }

 private:
  LoopbackPort port_{0};
  LIPSocketTCP queued_[2];
};

/// A blocking socket that is connected to an address.
inline LIPSocketTCP ConnectBlocking(const LIPAddressWithPort& address) {
  LIPSocketTCP connected(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const auto* const target = reinterpret_cast<const sockaddr*>(&address.SocketAddress());
  RequireSocketCall(connect(connected.Descriptor(), target, sizeof(sockaddr_in)) == 0, "connect");
  return connected;
}

/// Two ends of a connection: ours as ProcessConnect() makes it, the peer's a blocking one.
struct Connection {
  Connection() {
    const LoopbackPort port;
    LProcessInterfaceVoid process;
    RequireSocketCall(ProcessConnect(process, ours, port.Address(), kLongMs) == 0, "connect");
    peer = port.Accept();
  }

  void PeerWrites(const std::string& bytes) const {
    const ssize_t sent = send(peer.Descriptor(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    RequireSocketCall(sent == static_cast<ssize_t>(bytes.size()), "send");
  }
  /// Returns when all of it is queued at our end.
  void PeerSends(const std::string& bytes) const {
    PeerWrites(bytes);
    std::string seen(bytes.size(), '\0');
    RequireSocketCall(WaitUntil([&] {
                        return recv(ours.Descriptor(), seen.data(), seen.size(), MSG_PEEK | MSG_DONTWAIT) ==
                               static_cast<ssize_t>(seen.size());
                      }),
                      "recv");
  }

  /// What is queued at our end, taken away.
  std::string TakeRest() const {
    std::string rest(100000, '\0');
    const ssize_t count = recv(ours.Descriptor(), rest.data(), rest.size(), MSG_DONTWAIT);
    return rest.substr(0, count > 0 ? static_cast<std::size_t>(count) : 0);
  }

  /// Ends the connection by force: what is queued at our end is lost.
  void PeerResets() {
    const linger at_once{1, 0};
    setsockopt(peer.Descriptor(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
    peer.Close();
  }

  LIPSocketTCP ours, peer;
};

/// Two ends of a connection inside the machine, blocking ones. Our end's queue is full: the next byte waits until the
/// peer reads. (A TCP connection that seems to be full takes some more a little later.)
struct FullConnection {
  FullConnection() {
    int ends[2];
    RequireSocketCall(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
    ours = LIPSocketTCP(ends[0]);
    peer = LIPSocketTCP(ends[1]);
    const std::string bytes(4096, '#');
    while (send(ends[0], bytes.data(), bytes.size(), MSG_DONTWAIT | MSG_NOSIGNAL) > 0) {
    }
  }

  LIPSocketTCP ours, peer;
};

/// What the peer of a connection reads until its end.
inline std::string ReadAll(LIPSocketTCPRef peer) {
  std::string all, part(65536, '\0');
  for (;;) {
    const ssize_t count = recv(peer.Descriptor(), part.data(), part.size(), 0);
    if (count <= 0) return all;
    all.append(part, 0, static_cast<std::size_t>(count));
  }
}

/// Raises the process's limit of descriptors as far as this goes.
inline void AllowDescriptors(rlim_t count) {
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur < count) limit.rlim_cur = count;
  RequireSocketCall(setrlimit(RLIMIT_NOFILE, &limit) == 0, "setrlimit");
}

/// Makes every further descriptor of the process one beyond those that `select` can watch, for as long as it lives.
class LowDescriptorsTaken {
 public:
  LowDescriptorsTaken() {
    AllowDescriptors(4000);
    int taken = 0;
    while (taken < 1024) {
      taken = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0);
      RequireSocketCall(taken >= 0, "fcntl");
      taken_.push_back(taken);
    }
  }
  ~LowDescriptorsTaken() {
    for (const int descriptor : taken_) close(descriptor);
  }
  LowDescriptorsTaken(const LowDescriptorsTaken&) = delete;
  LowDescriptorsTaken& operator=(const LowDescriptorsTaken&) = delete;

 private:
  std::vector<int> taken_;
};

}  // namespace support
