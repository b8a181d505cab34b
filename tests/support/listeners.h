#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include <tests/support/sockets.h>
#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/net/LTCPListener.h>

namespace support {

/// A listener that serves with the function that it is given.
class FunctionListener : public LTCPListener {
 public:
  using Function = std::function<void(LTCPListener&, LIPSocketTCP&)>;

  explicit FunctionListener(Function function, unsigned short port = 0)
      : LTCPListener(port), function_(std::move(function)) {}
  ~FunctionListener() override { StopThreadAndWait(); }

  void ProcessConnection(LIPSocketTCP& socket) override {
    ++served;
    function_(*this, socket);
  }
  void ListenerReserved() override { ++reserved; }

  /// A pause before the port is tried again is as long as `pause_ms` says, and counted.
  bool ProcessWait(unsigned int ms) override {
    asked_pause_ms = ms;
    ++pauses;
    return LTCPListener::ProcessWait(pause_ms);
  }

  void StartListening() { Start(kOrdinaryPriority); }

  /// Waits until it listens.
  LIPAddressWithPort Address() const {
    RequireSocketCall(WaitUntil([this] { return BoundPort() != 0; }), "the listener's port");
    return {kLoopback, BoundPort()};
  }

  std::atomic<unsigned int> pause_ms{30000}, asked_pause_ms{0};
  std::atomic<int> served{0}, reserved{0}, pauses{0};

 private:
  Function function_;
};

/// Serves by sending back what comes, until the peer has closed.
inline void Echo(LTCPListener& listener, LIPSocketTCP& socket) {
  char buffer[1000];
  unsigned long count;
  while (ProcessRecvReady(listener, socket, buffer, sizeof buffer, count, kLongMs) == 0) {
    if (ProcessSend(listener, socket, buffer, count, kLongMs) != 0) return;
  }
}

/// Does whoever listens there send this byte back?
inline bool IsEchoed(LIPSocketTCPRef socket, unsigned char byte) {
  LProcessInterfaceVoid process;
  unsigned char answer = 0;
  return ProcessSend(process, socket, &byte, 1, kLongMs) == 0 &&
         ProcessRecvByte(process, socket, answer, kLongMs) == 0 && answer == byte;
}

}  // namespace support
