#include "net_stops.h"

#include <sys/socket.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <deque>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <tillvane/core/LThread.h>
#include <tillvane/net/LProcessSocket.h>
#include <tillvane/net/LTCPListener.h>

#include "loopback.h"

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kOrdinaryPriority = 31;
constexpr unsigned int kLongMs = 60000;
/// A slice, and what a busy machine may take to wake a thread.
constexpr double kSlicedGoalMs = 210;
constexpr double kListenerGoalMs = 5;
constexpr const char* kNote =
    "A quiet machine meets it. The functions look every 200 ms whether to stop, and a listener is woken; beyond that "
    "the "
    "time is what the system takes to wake a thread that has fifty others and whatever else runs beside it.";

double MsSince(Clock::time_point begin) {
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

/// Where every operation hangs: nothing comes, nothing more goes, and nobody accepts.
struct Nowhere {
  Nowhere() {
    int both[2];
    if (!link.IsThere() || socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, both) != 0) return;
    for (int i = 0; i < 2; ++i) full[i] = LIPSocketTCP(both[i]);
    const std::array<char, 4096> bytes = {};
    while (send(both[0], bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0) {
    }
    LProcessInterfaceVoid process;
    for (LIPSocketTCP& one : queued) ProcessConnect(process, one, AddressOf(silent), 0);
  }
  bool IsThere() const { return full[0].Descriptor() >= 0 && silent.Descriptor() >= 0; }

  Link link;
  LIPSocketTCP full[2];
  LIPSocketTCP silent = ListenOnLoopback(0);
  LIPSocketTCP queued[2];
};

/// A function that hangs there until it is asked to stop.
struct Hanging {
  const char* name;
  unsigned int (*call)(LProcessInterface& process, const Nowhere& nowhere);
};

const Hanging kHanging[] = {
    {"ProcessWaitForDataOrClose",
     [](LProcessInterface& process, const Nowhere& nowhere) {
       return ProcessWaitForDataOrClose(process, nowhere.link.ends[0], kLongMs);
     }},
    {"ProcessRecvReady",
     [](LProcessInterface& process, const Nowhere& nowhere) {
       char byte;
       unsigned long received;
       return ProcessRecvReady(process, nowhere.link.ends[0], &byte, 1, received, kLongMs);
     }},
    {"ProcessRecvToCharacter",
     [](LProcessInterface& process, const Nowhere& nowhere) {
       char byte;
       unsigned long received;
       return ProcessRecvToCharacter(process, nowhere.link.ends[0], &byte, 1, received, "\n", kLongMs);
     }},
    {"ProcessRecvByte",
     [](LProcessInterface& process, const Nowhere& nowhere) {
       unsigned char byte;
       return ProcessRecvByte(process, nowhere.link.ends[0], byte, kLongMs);
     }},
    {"ProcessRecvBytes",
     [](LProcessInterface& process, const Nowhere& nowhere) {
       char byte;
       return ProcessRecvBytes(process, nowhere.link.ends[0], &byte, 1, kLongMs);
     }},
    {"ProcessRecvAll",
     [](LProcessInterface& process, const Nowhere& nowhere) {
       char byte;
       unsigned long received;
       return ProcessRecvAll(process, nowhere.link.ends[0], &byte, 1, received, kLongMs);
     }},
    {"ProcessSend", [](LProcessInterface& process,
                       const Nowhere& nowhere) { return ProcessSend(process, nowhere.full[0], "x", 1, kLongMs); }},
    {"ProcessConnect",
     [](LProcessInterface& process, const Nowhere& nowhere) {
       LIPSocketTCP socket;
       return ProcessConnect(process, socket, AddressOf(nowhere.silent), kLongMs);
     }},
    {"ProcessConnect, several addresses",
     [](LProcessInterface& process, const Nowhere& nowhere) {
       LIPSocketTCP socket;
       const LIPAddressWithPort address = AddressOf(nowhere.silent);
       const unsigned int addresses[] = {address.Address(), address.Address()};
       return ProcessConnect(process, socket, LIPAddressMultiHomedWithPort(address.Port(), 2, addresses), kLongMs);
     }},
};

/// A thread in one of them, and when it came back.
class Hanger final : public LThread {
 public:
  Hanger(const Hanging& hanging, const Nowhere& nowhere) : hanging_(hanging), nowhere_(nowhere) {}
  ~Hanger() override { StopThreadAndWait(); }
  void ThreadFunction() override {
    code_ = hanging_.call(*this, nowhere_);
    back_ = Clock::now();
  }

  void Request() {
    requested_ = Clock::now();
    StopThreadSoon();
  }
  /// Negative when it did not hang until then.
  double MsToReturn() {
    JoinThread();
    return code_ == 1 ? std::chrono::duration<double, std::milli>(back_ - requested_).count() : -1;
  }

 private:
  const Hanging& hanging_;
  const Nowhere& nowhere_;
  unsigned int code_ = 0;
  Clock::time_point requested_, back_;
};

/// Many at a time, which began at different moments, so that their slices end at different ones.
std::vector<double> StopsOf(const Hanging& hanging, const Nowhere& nowhere, int rounds) {
  constexpr int together = 50;
  std::minstd_rand random;
  std::vector<double> times;
  for (int round = 0; round < rounds; ++round) {
    std::deque<Hanger> hangers;
    for (int i = 0; i < together; ++i) {
      hangers.emplace_back(hanging, nowhere).Start(kOrdinaryPriority);
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 8000));
    }
    for (Hanger& one : hangers) one.Request();
    for (Hanger& one : hangers) times.push_back(one.MsToReturn());
  }
  return times;
}

class IdleListener final : public LTCPListener {
 public:
  IdleListener() : LTCPListener(0) {
    Start(kOrdinaryPriority);
    while (BoundPort() == 0 && !ProcessWait(1)) {
    }
  }
  ~IdleListener() override { StopThreadAndWait(); }
  void ProcessConnection(LIPSocketTCP&) override {}
  void ListenerReserved() override {}
};

std::vector<double> StopsOfListener(int rounds) {
  std::vector<double> times;
  for (int i = 0; i < rounds; ++i) {
    IdleListener listener;
    // Longer than it takes to fall asleep.
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const Clock::time_point begin = Clock::now();
    listener.StopThreadAndWait();
    times.push_back(MsSince(begin));
  }
  return times;
}

void Print(const std::string& name, const std::vector<double>& times, double goal_ms, Results* results) {
  if (Percentile(times, 0) < 0) return results->NoteFailure("net: stop request to the return of " + name);
  const Bound bound = {"stop request to the return, 99th percentile: " + name,
                       "ms",
                       Percentile(times, 99),
                       Percentile(times, 0),
                       Percentile(times, 100),
                       goal_ms,
                       kNote};
  std::printf("    %-44s %10.2f  %10.2f  <= %.0f ms  %s\n", name.c_str(), Percentile(times, 50), bound.value, goal_ms,
              bound.IsMet() ? "yes" : "NO");
  results->Add(bound);
}

}  // namespace

void RunNetStops(const Options& options, Results* results) {
  const Nowhere nowhere;
  if (!nowhere.IsThere()) return results->NoteFailure("net: stop requests");
  std::printf("\n%-48s %10s  %10s  goal of p99\n", "net: stop request to the return", "p50 ms", "p99 ms");
  for (const Hanging& one : kHanging)
    Print(one.name, StopsOf(one, nowhere, options.quick ? 1 : 4), kSlicedGoalMs, results);
  Print("LTCPListener that waits for a connection", StopsOfListener(options.quick ? 100 : 1000), kListenerGoalMs,
        results);
}

}  // namespace bench
