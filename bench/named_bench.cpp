#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <tillvane/core/LSignalObjectNamed.h>

#include "cpu.h"
#include "families.h"

namespace bench {

namespace {

constexpr const char* kName = "signal";

/// A data folder of this benchmark's own, for as long as it lives.
class DataFolder {
 public:
  DataFolder() : path_((std::filesystem::temp_directory_path() / "tillvane-bench-XXXXXX").string()) {
    if (mkdtemp(path_.data()) != nullptr) setenv("XDG_DATA_HOME", path_.c_str(), 1);
  }
  ~DataFolder() {
    unsetenv("XDG_DATA_HOME");
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  DataFolder(const DataFolder&) = delete;
  DataFolder& operator=(const DataFolder&) = delete;

 private:
  std::string path_;
};

// Two ways to send a signal from one process to another, each with Signal(), and WaitAndReset(), for which there is an
// object each time.

class OurNamedSignal {
 public:
  void Signal() { object_.Signal(); }
  bool WaitAndReset() {
    const bool received = object_.WaitSignal(0xFFFFFFFF);
    object_.Reset();
    return received;
  }

 private:
  LSignalObjectNamed object_{kName};
};

/// The same calls, written down one after the other, at a path that is known beforehand.
class BareSocket {
 public:
  BareSocket() {
    const std::string path = std::string(std::getenv("XDG_DATA_HOME")) + '/' + kName;
    path.copy(address_.sun_path, sizeof address_.sun_path - 1);
  }
  ~BareSocket() {
    if (client_ >= 0) close(client_);
    if (connection_ < 0) return;
    close(connection_);
    unlink(address_.sun_path);
  }
  BareSocket(const BareSocket&) = delete;
  BareSocket& operator=(const BareSocket&) = delete;

  void Signal() {
    if (client_ >= 0) close(client_);
    client_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(client_, Address(), sizeof address_) != 0) return;
    [[maybe_unused]] const ssize_t sent = send(client_, "\1", 1, MSG_NOSIGNAL);
  }
  bool WaitAndReset() {
    const int listening = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    fchmod(listening, 0600);
    if (bind(listening, Address(), sizeof address_) == 0 && listen(listening, 5) == 0) {
      pollfd polled{listening, POLLIN, 0};
      poll(&polled, 1, -1);
      connection_ = accept4(listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    }
    close(listening);
    for (char byte; read(connection_, &byte, 1) == 1;) {
    }
    return connection_ >= 0;
  }

 private:
  const sockaddr* Address() const { return reinterpret_cast<const sockaddr*>(&address_); }

  sockaddr_un address_{AF_UNIX, {}};
  int connection_ = -1, client_ = -1;
};

/// Signals all the time, on one processor with who waits: what nobody hears costs little there, since a wait begins
/// soon.
template <class NamedSignal>
class Signaller {
 public:
  explicit Signaller(int cpu) : thread_([this, cpu] { Run(cpu); }) {}
  ~Signaller() {
    ending_ = true;
    thread_.join();
  }
  Signaller(const Signaller&) = delete;
  Signaller& operator=(const Signaller&) = delete;

 private:
  void Run(int cpu) {
    const Pinned pinned(cpu);
    for (NamedSignal signal; !ending_; sched_yield()) signal.Signal();
  }

  std::atomic<bool> ending_{false};
  std::thread thread_;
};

/// One pass is a signal: its socket made, waited at, signalled, drained and taken away.
template <class NamedSignal>
Body Exchange(int cpu) {
  return [=](benchmark::State& state) {
    const DataFolder folder;
    const Pinned pinned(cpu);
    if (pinned.HasFailed()) state.SkipWithError("the system refused to pin the thread");
    const Signaller<NamedSignal> signaller(cpu);
    for (auto _ : state) {
      NamedSignal waiting;
      if (!waiting.WaitAndReset()) state.SkipWithError("nothing was received");
    }
  };
}

}  // namespace

void RunNamedFamily(const Options& options, Results* results) {
  const std::vector<int> cpus = AllowedCpus();
  PrintHead("named");
  if (cpus.empty()) return results->NoteFailure("named: which processors there are");
  Measure({"a signal by name between two threads on one core",
           {Clock::kProcess},
           "LSignalObjectNamed",
           Exchange<OurNamedSignal>(cpus[0]),
           {Limit("bare UNIX sockets", Exchange<BareSocket>(cpus[0]), 1.2)}},
          options, results);
}

}  // namespace bench
