#include <atomic>
#include <vector>

#include "call_thread.h"
#include "tasks.h"

namespace soak {

namespace {

constexpr unsigned int kForEver = 0xFFFFFFFF, kLongMs = 60000;
constexpr int kThreads = 6;

/// Waits until it is stopped, and counts itself as long as it is there.
class WaitingThread final : public LDetachedThread {
 public:
  explicit WaitingThread(std::atomic<int>& alive) : alive_(alive) { ++alive_; }
  ~WaitingThread() override { --alive_; }

  // It deletes itself when this has returned: what it uses then is not its own.
  void ThreadFunction() override { ProcessWait(kLongMs); }

 private:
  std::atomic<int>& alive_;
};

/// Ends at once.
class ShortThread final : public LDetachedThread {
 public:
  explicit ShortThread(std::atomic<int>& ran) : ran_(ran) {}
  void ThreadFunction() override { ++ran_; }

 private:
  std::atomic<int>& ran_;
};

class ThreadTask final : public Task {
 public:
  void Round(LProcessInterface& process) override {
    StopWhileWaiting(process);
    StartAgain();
    DetachAndStop();
    DetachAndEnd(process);
  }

 private:
  static void StopWhileWaiting(LProcessInterface& process) {
    LSignalObject never;
    std::atomic<int> right{0};
    std::vector<std::unique_ptr<CallThread>> threads;
    for (int i = 0; i < kThreads; ++i) {
      threads.push_back(std::make_unique<CallThread>([&never, &right, i](LProcessInterface& thread) {
        LSignalObjectGroup group;
        group.Add(never);
        const int stopped = i % 3 == 0   ? static_cast<int>(thread.ProcessWait(kLongMs))
                            : i % 3 == 1 ? thread.ProcessWaitSignal(never, kForEver)
                                         : thread.ProcessWaitSignalObjectGroup(group, kForEver);
        if (stopped == 1 && thread.IsToStop()) ++right;
      }));
      threads.back()->Start(kPriority - i);
    }
    process.ProcessWait(1);
    for (const auto& thread : threads) thread->StopThreadSoon();
    for (const auto& thread : threads) thread->StopThreadAndWait();
    Require(right == kThreads, "a thread that is stopped while it waits learns of it");
  }

  static void StartAgain() {
    int runs = 0;
    CallThread thread([&runs](LProcessInterface&) { ++runs; });
    for (int i = 0; i < 3; ++i) {
      thread.Start(kPriority);
      thread.JoinThread();
      Require(thread.EndedSignal().WaitSignal(kLongMs), "a thread that has ended says so");
    }
    Require(runs == 3 && !thread.IsRunning(), "a thread is started again");
  }

  static void DetachAndStop() {
    std::atomic<int> alive{0};
    LDetachedThreadsOwner owner;
    for (int i = 0; i < kThreads; ++i) {
      auto* const thread = new WaitingThread(alive);
      owner.Add(thread);
      Require(thread->StartDetached(owner, kPriority) == 0, "a detached thread starts");
    }
    Require(alive == kThreads, "detached threads wait");
    owner.StopThreadsNow();
    Require(alive == 0, "detached threads are gone when they were stopped");
  }

  static void DetachAndEnd(LProcessInterface& process) {
    std::atomic<int> ran{0};
    LDetachedThreadsOwner owner;
    for (int i = 0; i < kThreads; ++i) {
      auto* const thread = new ShortThread(ran);
      owner.Add(thread);
      thread->StartDetached(owner, kPriority);
    }
    for (int i = 0; ran != kThreads && i < 60000; ++i) process.ProcessWait(1);
    Require(ran == kThreads, "detached threads run");
  }
};

}  // namespace

std::unique_ptr<Task> MakeThreadTask() { return std::make_unique<ThreadTask>(); }

}  // namespace soak
