#pragma once

#include <pthread.h>
#include <sys/resource.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <thread>
#include <utility>

#include <tillvane/core/LDetachedThread.h>
#include <tillvane/core/LThread.h>

/// \file
/// Threads for tests.

namespace support {

/// The priority of this process's threads: any user may give it to another one.
inline const int kOrdinaryPriority = 31 - getpriority(PRIO_PROCESS, 0);

/// A thread with the function that it is given.
class FunctionThread : public LThread {
 public:
  using Function = std::function<void(LThread&)>;

  explicit FunctionThread(Function function) : function_(std::move(function)) {}
  ~FunctionThread() override { StopThreadAndWait(); }
  void ThreadFunction() override {
    ++runs;
    function_(*this);
  }

  std::atomic<int> runs{0};

 private:
  Function function_;
};

/// A thread that deletes itself, with the function that it is given; `alive` counts those that are there.
class DetachedFunction : public LDetachedThread {
 public:
  using Function = FunctionThread::Function;

  DetachedFunction(std::atomic<int>& alive, Function function) : alive_(alive), function_(std::move(function)) {
    ++alive_;
  }
  ~DetachedFunction() override {
    StopThreadAndWait();
    --alive_;
  }
  void ThreadFunction() override { function_(*this); }

 private:
  std::atomic<int>& alive_;
  Function function_;
};

/// What a thread can do until it is asked to stop.
inline void SleepUntilStopped(LThread& thread) {
  while (!thread.IsToStop()) thread.ProcessWait(0xFFFFFFFF);
}

/// Calls a function on a thread that is to end at its next cancellation point. \return did the function come to its
/// end?
inline bool PassesWhileCancelled(const std::function<void()>& function) {
  bool passed = false;
  std::thread([&] {
    pthread_cancel(pthread_self());
    function();
    passed = true;
  }).join();
  return passed;
}

/// How often a stress test repeats: `few` in the usual run, ten times that where somebody has the time.
inline int Rounds(int few) { return std::getenv("TILLVANE_TEST_LONG") != nullptr ? few * 10 : few; }

}  // namespace support
