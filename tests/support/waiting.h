#pragma once

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <utility>

/// \file
/// Time and other threads, for tests of waits. Bounds are wide: a busy machine may be late, but never early.

namespace support {

/// A wait that ends for another reason than its time is given this time, and is expected to end much earlier.
inline constexpr unsigned int kLongMs = 20000;
/// Earlier than this counts as "well before its time".
inline constexpr long long kSoonMs = 8000;
/// Too short for a sleep of any kind on an idle machine, long enough for a busy one.
inline constexpr long long kAtOnceMs = 2000;

/// Milliseconds since it was made.
class Stopwatch {
 public:
  long long Ms() const {
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now() - begin_).count();
  }

 private:
  std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

inline void SleepMs(int ms) { std::this_thread::sleep_for(std::chrono::milliseconds(ms)); }

/// Looks again and again, for some seconds at most. \return whether it came true
template <class Condition>
bool WaitUntil(const Condition& condition) {
  const Stopwatch watch;
  while (!condition()) {
    if (watch.Ms() > kSoonMs) return false;
    SleepMs(1);
  }
  return true;
}

/// Runs a function on another thread after `ms`; its end waits for that thread.
class Later {
 public:
  Later(int ms, std::function<void()> function)
      : thread_([ms, function = std::move(function)] {
          SleepMs(ms);
          function();
        }) {}
  ~Later() { thread_.join(); }
  Later(const Later&) = delete;
  Later& operator=(const Later&) = delete;

 private:
  std::thread thread_;
};

/// Installs a signal's handler, without SA_RESTART, and puts the old one back.
class HandlerScope {
 public:
  HandlerScope(int signal_number, void (*handler)(int)) : signal_number_(signal_number) {
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(signal_number, &action, &old_);
  }
  ~HandlerScope() { sigaction(signal_number_, &old_, nullptr); }
  HandlerScope(const HandlerScope&) = delete;
  HandlerScope& operator=(const HandlerScope&) = delete;

 private:
  int signal_number_;
  struct sigaction old_;
};

/// Interrupts the calling thread every `period` microseconds, for as long as it lives, with a signal whose handler does
/// nothing: a call that sleeps then fails with EINTR.
class Interrupter {
 public:
  explicit Interrupter(int period) : thread_([this, period, target = pthread_self()] { Run(period, target); }) {}
  ~Interrupter() {
    end_ = true;
    thread_.join();
  }
  Interrupter(const Interrupter&) = delete;
  Interrupter& operator=(const Interrupter&) = delete;

 private:
  void Run(int period, pthread_t target) {
    while (!end_) {
      std::this_thread::sleep_for(std::chrono::microseconds(period));
      pthread_kill(target, SIGUSR1);
    }
  }

  HandlerScope handler_{SIGUSR1, [](int) {}};
  std::atomic<bool> end_{false};
  std::thread thread_;
};

}  // namespace support
