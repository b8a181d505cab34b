#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/read.hpp>
#include <asio/write.hpp>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <tillvane/net/LProcessSocket.h>
#include <tillvane/net/LTCPListener.h>

#include "cpu.h"
#include "families.h"
#include "loopback.h"
#include "net_stops.h"

namespace bench {

namespace {

constexpr int kOrdinaryPriority = 31;
constexpr unsigned int kLongMs = 10000;

// --- Throughput: the same pieces through the same kind of connection, by three kinds of ends ---

class OurEnd {
 public:
  explicit OurEnd(LIPSocketTCPRef socket) : socket_(socket) {
    fcntl(socket.Descriptor(), F_SETFL, fcntl(socket.Descriptor(), F_GETFL) | O_NONBLOCK);
  }
  bool Send(const char* data, std::size_t size) { return ProcessSend(process_, socket_, data, size, kLongMs) == 0; }
  bool Receive(char* data, std::size_t size) { return ProcessRecvBytes(process_, socket_, data, size, kLongMs) == 0; }

 private:
  LProcessInterfaceVoid process_;
  LIPSocketTCPRef socket_;
};

class BareEnd {
 public:
  explicit BareEnd(LIPSocketTCPRef socket) : descriptor_(socket.Descriptor()) {}
  bool Send(const char* data, std::size_t size) const {
    while (size > 0) {
      const ssize_t sent = send(descriptor_, data, size, MSG_NOSIGNAL);
      if (sent <= 0) return false;
      data += sent;
      size -= static_cast<std::size_t>(sent);
    }
    return true;
  }
  bool Receive(char* data, std::size_t size) const {
    while (size > 0) {
      const ssize_t received = recv(descriptor_, data, size, 0);
      if (received <= 0) return false;
      data += received;
      size -= static_cast<std::size_t>(received);
    }
    return true;
  }

 private:
  int descriptor_;
};

class AsioEnd {
 public:
  explicit AsioEnd(LIPSocketTCPRef socket) { socket_.assign(asio::ip::tcp::v4(), dup(socket.Descriptor())); }
  bool Send(const char* data, std::size_t size) {
    asio::error_code error;
    asio::write(socket_, asio::buffer(data, size), error);
    return !error;
  }
  bool Receive(char* data, std::size_t size) {
    asio::error_code error;
    asio::read(socket_, asio::buffer(data, size), error);
    return !error;
  }

 private:
  asio::io_context context_{1};
  asio::ip::tcp::socket socket_{context_};
};

/// So much goes through in a pass.
constexpr std::size_t kPassBytes = 1 << 20;

/// Receives pass after pass and says so with a byte, until a pass does not come.
template <class End>
void ReceivePasses(LIPSocketTCPRef socket, std::size_t piece, int cpu) {
  const Pinned pinned(cpu);
  End end(socket);
  std::vector<char> buffer(piece);
  for (;;) {
    for (std::size_t i = 0; i < kPassBytes / piece; ++i) {
      if (!end.Receive(buffer.data(), piece)) return;
    }
    if (!end.Send("x", 1)) return;
  }
}

/// One pass is one iteration; `cpu` is the sender's, and the receiver's is the other one or the same.
template <class End>
Body Throughput(std::size_t piece, int cpu, int receivers_cpu) {
  return [=](benchmark::State& state) {
    const Pinned pinned(cpu);
    Link link;
    if (!link.IsThere()) return state.SkipWithError("no connection");
    std::thread receiver(ReceivePasses<End>, LIPSocketTCPRef(link.ends[1]), piece, receivers_cpu);
    {
      End end(link.ends[0]);
      const std::vector<char> data(piece, 'x');
      char answer;
      for (auto _ : state) {
        bool good = true;
        for (std::size_t i = 0; good && i < kPassBytes / piece; ++i) good = end.Send(data.data(), piece);
        if (!good || !end.Receive(&answer, 1)) {
          state.SkipWithError("the connection has failed");
          break;
        }
      }
    }
    shutdown(link.ends[0].Descriptor(), SHUT_RDWR);
    receiver.join();
  };
}

void MeasureThroughput(const std::string& name, std::size_t piece, double goal, const std::vector<int>& cpus,
                       const Options& options, Results* results) {
  const auto comparison = [&](const std::string& where, int receivers_cpu, const std::vector<Clock>& clocks,
                              double goal_there) {
    return Comparison{
        "pieces of " + name + ", " + where,
        clocks,
        "ProcessSend, ProcessRecvBytes",
        Throughput<OurEnd>(piece, cpus[0], receivers_cpu),
        {Limit("bare send, recv, blocking", Throughput<BareEnd>(piece, cpus[0], receivers_cpu), goal_there),
         {"asio::write, asio::read", Throughput<AsioEnd>(piece, cpus[0], receivers_cpu)}},
        static_cast<int>(kPassBytes / piece)};
  };
  Measure(comparison("both ends on one core", cpus[0], {Clock::kProcess, Clock::kWall}, goal), options, results);
  if (cpus.size() > 1) Measure(comparison("a core each", cpus[1], {Clock::kWall}, 0), options, results);
}

// --- Connections a second ---

class HastyListener final : public LTCPListener {
 public:
  HastyListener() : LTCPListener(0) {
    Start(kOrdinaryPriority);
    while (BoundPort() == 0 && !ProcessWait(1)) {
    }
  }
  ~HastyListener() override { StopThreadAndWait(); }
  void ProcessConnection(LIPSocketTCP&) override {}
  void ListenerReserved() override {}
};

/// Come at the same time, and go when the server has closed. \return false when there was nobody
bool Visit(const LIPAddressWithPort& address, int together) {
  std::vector<LIPSocketTCP> visitors;
  for (int i = 0; i < together; ++i) {
    visitors.push_back(ConnectBlocking(address));
    ForgetWhenClosed(visitors.back());
  }
  return std::all_of(visitors.begin(), visitors.end(), [](const LIPSocketTCP& one) {
    char byte;
    return recv(one.Descriptor(), &byte, 1, 0) == 0;
  });
}

struct Visits {
  int cpu;
  int together;
};

void VisitAll(benchmark::State& state, const Visits& visits, const LIPAddressWithPort& address) {
  bool good = true;
  for (auto _ : state) good = good && Visit(address, visits.together);
  if (!good) state.SkipWithError("nobody answers");
}

void ConnectionsOfOurs(benchmark::State& state, const Visits& visits) {
  // The thread inherits the core.
  const Pinned pinned(visits.cpu);
  const HastyListener listener;
  VisitAll(state, visits, {htonl(INADDR_LOOPBACK), listener.BoundPort()});
}

/// A thread that accepts and closes, until the port is shut.
template <class Serve>
void ConnectionsOf(benchmark::State& state, const Visits& visits, Serve serve) {
  const Pinned pinned(visits.cpu);
  const LIPSocketTCP listening = ListenAnywhere(50);
  std::atomic<bool> over{false};
  std::thread server([&] {
    while (!over) serve(listening);
  });
  VisitAll(state, visits, AddressOf(listening));
  over = true;
  shutdown(listening.Descriptor(), SHUT_RD);
  server.join();
}

void ConnectionsOfBareLoop(benchmark::State& state, const Visits& visits) {
  ConnectionsOf(state, visits, [](const LIPSocketTCP& listening) {
    const int accepted = accept4(listening.Descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
    if (accepted >= 0) close(accepted);
  });
}

void ConnectionsOfAsio(benchmark::State& state, const Visits& visits) {
  asio::io_context context{1};
  asio::ip::tcp::acceptor acceptor{context};
  ConnectionsOf(state, visits, [&](const LIPSocketTCP& listening) {
    if (!acceptor.is_open()) acceptor.assign(asio::ip::tcp::v4(), dup(listening.Descriptor()));
    asio::ip::tcp::socket socket(context);
    asio::error_code error;
    acceptor.accept(socket, error);
  });
}

Comparison Connections(const std::string& how, const Visits& visits) {
  const auto of = [visits](void (*body)(benchmark::State&, const Visits&)) {
    return [body, visits](benchmark::State& state) { body(state, visits); };
  };
  return {
      "a connection, accepted and closed, " + how + ", on one core",
      {Clock::kProcess, Clock::kWall},
      "LTCPListener",
      of(ConnectionsOfOurs),
      {Limit("bare loop of accept4, close", of(ConnectionsOfBareLoop), 1 / 0.95,
             "A quiet machine gives 1.02, a busy one meets it about half of the time: each connection takes one poll "
             "more, because ours waits for its stop signal too, and the bare loop cannot be stopped."),
       {"asio::ip::tcp::acceptor", of(ConnectionsOfAsio)}},
      visits.together};
}

}  // namespace

void RunNetFamily(const Options& options, Results* results) {
  const std::vector<int> cpus = AllowedCpus();
  PrintHead("net");
  if (cpus.empty()) return results->NoteFailure("net: which processors there are");
  MeasureThroughput("64 bytes", 64, 1.2, cpus, options, results);
  MeasureThroughput("4 KiB", 4096, 0, cpus, options, results);
  MeasureThroughput("64 KiB", 65536, 1.05, cpus, options, results);
  Measure(Connections("ten at a time", {cpus[0], 10}), options, results);
  Measure(Connections("one after the other", {cpus[0], 1}), options, results);
  RunNetStops(options, results);
}

}  // namespace bench
