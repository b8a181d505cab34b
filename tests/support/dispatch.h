#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/LThreadRunOnMainThread.h>

/// \file
/// Work for the main thread, for tests.

namespace support {

/// Calls one function when it is run and another when it is freed. Those that are alive are counted.
class Work : public LThreadRunOnMainThreadData {
 public:
  using Function = std::function<void()>;

  explicit Work(Function run = {}, Function freed = {}) : run_(std::move(run)), freed_(std::move(freed)) { ++alive; }
  ~Work() override {
    --alive;
    if (freed_) freed_();
  }
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

  void MainThreadFunction() override {
    if (run_) run_();
  }

  static inline std::atomic<int> alive{0};

 private:
  Function run_, freed_;
};

/// Tests of what runs on the main thread. They free all their work.
class DispatchTest : public QueueTest {
 protected:
  using Log = std::vector<std::string>;

  DispatchTest() { LThreadRunOnMainThread::Init(); }
  ~DispatchTest() override {
    EXPECT_EQ(Work::alive, 0);
    LThreadRunOnMainThread::Destroy();
  }

  /// Work that appends its name to the log when it is run.
  Work* Logging(const std::string& name) {
    return new Work([this, name] { log_.push_back(name); });
  }

  Log log_;
};

}  // namespace support
