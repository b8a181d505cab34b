#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <thread>
#include <vector>

#include "call_thread.h"
#include "tasks.h"

namespace soak {

namespace {

constexpr unsigned int kDone = 0, kStopped = 1;
/// Far longer than anything takes here.
constexpr unsigned int kLongMs = 60000;

/// Answers every line with itself.
class EchoListener final : public LTCPListener {
 public:
  EchoListener() : LTCPListener(0) {}
  ~EchoListener() override { StopThreadAndWait(); }

  void ProcessConnection(LIPSocketTCP& socket) override {
    std::array<char, 256> part;
    unsigned long size;
    while (ProcessRecvToCharacter(*this, socket, part.data(), part.size(), size, "\n", kLongMs) == kDone) {
      if (ProcessSend(*this, socket, part.data(), size, kLongMs) != kDone) return;
    }
  }
  void ListenerReserved() override {}
};

/// A port of this machine at which nobody ever answers: what connects there waits in the system.
class SilentPort {
 public:
  explicit SilentPort(int backlog) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    if (bind(socket_.Descriptor(), any, size) == 0 && listen(socket_.Descriptor(), backlog) == 0 &&
        getsockname(socket_.Descriptor(), any, &size) == 0) {
      port_ = ntohs(address.sin_port);
    }
  }

  LIPAddressWithPort Address() const { return {htonl(INADDR_LOOPBACK), port_}; }
  bool IsThere() const { return port_ != 0; }

 private:
  const LIPSocketTCP socket_;
  unsigned short port_ = 0;
};

unsigned int Connect(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort& address) {
  return ProcessConnect(process, socket, address, kLongMs);
}

/// Sends lines and reads them back by each of the calls that receive.
bool Talk(LProcessInterface& process, const LIPAddressWithPort& address) {
  LIPSocketTCP socket;
  if (Connect(process, socket, address) != kDone) return false;
  for (int i = 0; i < 20; ++i) {
    const std::string line =
        "line " + std::to_string(i) + " " + std::string(static_cast<std::size_t>(i) * 9, 'x') + "\n";
    if (ProcessSend(process, socket, line.data(), line.size(), kLongMs) != kDone) return false;
    std::array<char, 256> answer;
    unsigned long received = 0;
    unsigned char first;
    if (ProcessWaitForDataOrClose(process, socket, kLongMs) != kDone) return false;
    if (ProcessRecvByte(process, socket, first, kLongMs) != kDone) return false;
    if (ProcessRecvBytes(process, socket, answer.data(), line.size() - 1, received, kLongMs) != kDone) return false;
    if (first != 'l' || line.substr(1) != std::string(answer.data(), received)) return false;
  }
  return true;
}

/// One call of a client that has nothing to wait for; it answers when it is stopped.
using Call = unsigned int (*)(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort& address);

unsigned int CallWait(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort&) {
  return ProcessWaitForDataOrClose(process, socket, kLongMs);
}
unsigned int CallReady(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort&) {
  std::array<char, 16> buffer;
  unsigned long received;
  return ProcessRecvReady(process, socket, buffer.data(), buffer.size(), received, kLongMs);
}
unsigned int CallToCharacter(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort&) {
  std::array<char, 16> buffer;
  unsigned long received;
  return ProcessRecvToCharacter(process, socket, buffer.data(), buffer.size(), received, "\n", kLongMs);
}
unsigned int CallByte(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort&) {
  unsigned char byte;
  return ProcessRecvByte(process, socket, byte, kLongMs);
}
unsigned int CallBytes(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort&) {
  std::array<char, 16> buffer;
  return ProcessRecvBytes(process, socket, buffer.data(), buffer.size(), kLongMs);
}
unsigned int CallAll(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort&) {
  std::array<char, 16> buffer;
  unsigned long received;
  return ProcessRecvAll(process, socket, buffer.data(), buffer.size(), received, kLongMs);
}
unsigned int CallSend(LProcessInterface& process, LIPSocketTCP& socket, const LIPAddressWithPort&) {
  // More than the two sides' buffers hold.
  static const std::vector<char> much(8 * 1024 * 1024);
  return ProcessSend(process, socket, much.data(), much.size(), kLongMs);
}
unsigned int CallConnect(LProcessInterface& process, LIPSocketTCP&, const LIPAddressWithPort& full) {
  LIPSocketTCP socket;
  return Connect(process, socket, full);
}

constexpr Call kCalls[] = {CallWait, CallReady, CallToCharacter, CallByte, CallBytes, CallAll, CallSend, CallConnect};

struct StoppedClient {
  LIPSocketTCP socket;
  unsigned int answer = ~0U;
  std::unique_ptr<CallThread> thread;
};

class SocketTask final : public Task {
 public:
  void Round(LProcessInterface& process) override {
    TalkToListener(process);
    StopInEachCall(process);
  }

 private:
  static void TalkToListener(LProcessInterface& process) {
    EchoListener listener;
    listener.Start(kPriority);
    for (int i = 0; listener.BoundPort() == 0 && i < 10000; ++i) process.ProcessWait(1);
    Require(listener.BoundPort() != 0, "a listener gets a port");
    const LIPAddressWithPort address(htonl(INADDR_LOOPBACK), listener.BoundPort());
    bool other_is_right = false;
    CallThread other([&](LProcessInterface& thread) { other_is_right = Talk(thread, address); });
    other.Start(kPriority);
    const bool is_right = Talk(process, address);
    other.JoinThread();
    Require(is_right && other_is_right, "a server answers each line with itself");
    // A visitor who says nothing does not keep the listener from its end.
    LIPSocketTCP silent;
    Require(Connect(process, silent, address) == kDone, "a silent visitor connects");
    listener.StopThreadAndWait();
    Require(listener.BoundPort() == 0, "a listener that was stopped has no port");
  }

  static void StopInEachCall(LProcessInterface& process) {
    const SilentPort silent(64), full(0);
    Require(silent.IsThere() && full.IsThere(), "ports of this machine are to be had");
    LIPSocketTCP filler;
    Require(Connect(process, filler, full.Address()) == kDone, "the one place of a port is taken");
    std::vector<StoppedClient> clients(std::size(kCalls));
    for (std::size_t i = 0; i < clients.size(); ++i) {
      StoppedClient& client = clients[i];
      Require(Connect(process, client.socket, silent.Address()) == kDone, "a client connects");
      client.thread = std::make_unique<CallThread>([&client, i, address = full.Address()](LProcessInterface& thread) {
        client.answer = kCalls[i](thread, client.socket, address);
      });
      client.thread->Start(kPriority);
    }
    process.ProcessWait(20);
    for (const StoppedClient& client : clients) client.thread->StopThreadSoon();
    for (const StoppedClient& client : clients) {
      client.thread->JoinThread();
      Require(client.answer == kStopped, "a client that is stopped in a call says so");
    }
  }
};

}  // namespace

std::unique_ptr<Task> MakeSocketTask() { return std::make_unique<SocketTask>(); }

}  // namespace soak
