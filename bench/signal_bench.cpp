#include <poll.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <thread>

#include <tillvane/core/LSignalObject.h>

#include "cpu.h"
#include "families.h"

namespace bench {

namespace {

// What a thread can wait for, each with Signal(), and Wait(), which waits and resets.

class OurSignal {
 public:
  void Signal() { object_.Signal(); }
  void Wait() {
    object_.WaitSignal(0xFFFFFFFF);
    object_.Reset();
  }

 private:
  LSignalObject object_;
};

class EventfdSignal {
 public:
  ~EventfdSignal() { close(descriptor_); }
  void Signal() {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(descriptor_, &one, sizeof one);
  }
  void Wait() {
    pollfd polled{descriptor_, POLLIN, 0};
    poll(&polled, 1, -1);
    Reset();
  }
  void Reset() {
    std::uint64_t count;
    [[maybe_unused]] const ssize_t got = read(descriptor_, &count, sizeof count);
  }

 private:
  int descriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
};

class ConditionSignal {
 public:
  void Signal() {
    {
      const std::lock_guard guard(lock_);
      signalled_ = true;
    }
    changed_.notify_one();
  }
  void Wait() {
    std::unique_lock guard(lock_);
    changed_.wait(guard, [this] { return signalled_; });
    signalled_ = false;
  }

 private:
  std::mutex lock_;
  std::condition_variable changed_;
  bool signalled_ = false;
};

/// Answers every ping with a pong, on a processor of its choice.
template <class Waitable>
class Partner {
 public:
  explicit Partner(int cpu) : thread_([this, cpu] { Run(cpu); }) {}
  ~Partner() {
    ending_ = true;
    ping_.Signal();
    thread_.join();
  }
  Partner(const Partner&) = delete;
  Partner& operator=(const Partner&) = delete;

  void RoundTrip() {
    ping_.Signal();
    pong_.Wait();
  }

 private:
  void Run(int cpu) {
    const Pinned pinned(cpu);
    for (;;) {
      ping_.Wait();
      if (ending_) return;
      pong_.Signal();
    }
  }

  Waitable ping_, pong_;
  std::atomic<bool> ending_{false};
  std::thread thread_;
};

/// One pass is a round trip: signal, wait and reset on each of the two threads.
template <class Waitable>
Body PingPong(int main_cpu, int partner_cpu) {
  return [=](benchmark::State& state) {
    const Pinned pinned(main_cpu);
    if (pinned.HasFailed()) state.SkipWithError("the system refused to pin the thread");
    Partner<Waitable> partner(partner_cpu);
    partner.RoundTrip();
    for (auto _ : state) partner.RoundTrip();
  };
}

Comparison PingPongs(const char* title, Clock clock, int main_cpu, int partner_cpu, double goal) {
  return {title,
          {clock},
          "LSignalObject",
          PingPong<OurSignal>(main_cpu, partner_cpu),
          {{"eventfd, poll", PingPong<EventfdSignal>(main_cpu, partner_cpu), goal},
           {"std::condition_variable", PingPong<ConditionSignal>(main_cpu, partner_cpu)}},
          2};
}

void AskIsSignaled(benchmark::State& state) {
  const LSignalObject object;
  for (auto _ : state) benchmark::DoNotOptimize(object.IsSignaled());
}

void AskPoll(benchmark::State& state) {
  const LSignalObject object;
  for (auto _ : state) {
    pollfd polled{object.filedes[0], POLLIN, 0};
    benchmark::DoNotOptimize(poll(&polled, 1, 0));
  }
}

void AskSelect(benchmark::State& state) {
  const LSignalObject object;
  for (auto _ : state) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(object.filedes[0], &set);
    timeval none{};
    benchmark::DoNotOptimize(select(object.filedes[0] + 1, &set, nullptr, nullptr, &none));
  }
}

Comparison Questions() {
  return {
      "the question alone, not signalled",
      {Clock::kThread},
      "LSignalObject::IsSignaled",
      AskIsSignaled,
      {Limit("poll without a wait", AskPoll, 1.1,
             "Ours is that one system call, a look at the descriptor before it and at the answer after it: together "
             "some twenty nanoseconds, 0.99 to 1.11 in several runs. The looks stay: poll would sleep on a descriptor "
             "that is closed, and take one that is not open for signalled."),
       {"select without a wait", AskSelect}}};
}

void SignalAndReset(benchmark::State& state) {
  LSignalObject object;
  for (auto _ : state) {
    object.Signal();
    object.Reset();
  }
}

void WriteAndReadEventfd(benchmark::State& state) {
  EventfdSignal eventfd;
  for (auto _ : state) {
    eventfd.Signal();
    eventfd.Reset();
  }
}

Comparison OneThread() {
  return {"in one thread, without a wait",
          {Clock::kThread},
          "LSignalObject: Signal, Reset",
          SignalAndReset,
          {{"eventfd: write, read", WriteAndReadEventfd}}};
}

}  // namespace

void RunSignalFamily(const Options& options, Results* results) {
  const std::vector<int> cpus = AllowedCpus();
  PrintHead("signal");
  if (cpus.empty()) return results->NoteFailure("signal: which processors there are");
  Measure(PingPongs("signal, wait, reset between two threads on one core", Clock::kProcess, cpus[0], cpus[0], 1.3),
          options, results);
  if (cpus.size() > 1) {
    Measure(PingPongs("signal, wait, reset across two cores", Clock::kWall, cpus[0], cpus[1], 0), options, results);
  } else {
    std::printf("  signal, wait, reset across two cores: there is only one\n");
  }
  Measure(Questions(), options, results);
  Measure(OneThread(), options, results);
}

}  // namespace bench
