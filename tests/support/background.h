#pragma once

#include <atomic>
#include <functional>
#include <thread>
#include <utility>

#include <tests/support/waiting.h>

namespace support {

/// A function on a thread of its own, which may have to wait for something; its end waits for that thread.
class Background {
 public:
  explicit Background(std::function<void()> function)
      : thread_([this, function = std::move(function)] {
          function();
          done_ = true;
        }) {}
  ~Background() { thread_.join(); }
  Background(const Background&) = delete;
  Background& operator=(const Background&) = delete;

  bool IsDone() const { return done_; }

  /// Has it still not come to its end after some time? It can only be wrong by saying yes on a machine that is too
  /// busy.
  bool Hangs() const {
    SleepMs(40);
    return !done_;
  }

  /// Does it come to its end?
  bool Ends() const {
    const Stopwatch watch;
    while (!done_ && watch.Ms() < kSoonMs) SleepMs(1);
    return done_;
  }

 private:
  std::atomic<bool> done_{false};
  std::thread thread_;
};

}  // namespace support
