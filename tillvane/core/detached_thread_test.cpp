#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include <tests/support/threads.h>
#include <tests/support/virtual_slots.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LDetachedThread.h>

namespace {

using support::DetachedFunction;
using support::kAtOnceMs;
using support::kOrdinaryPriority;
using support::SleepUntilStopped;
using support::SlotOf;
using support::Stopwatch;
using support::WaitUntil;

void Return(LThread&) {}

class Detached : public testing::Test {
 protected:
  /// A thread in the owner's list, which counts its life in `alive_` and its runs in `runs_`.
  DetachedFunction* Make(DetachedFunction::Function function) {
    auto* const thread = new DetachedFunction(alive_, [this, function = std::move(function)](LThread& self) {
      function(self);
      ++runs_;
    });
    owner_.Add(thread);
    return thread;
  }

  std::atomic<int> alive_{0}, runs_{0};
  LDetachedThreadsOwner owner_;
};

TEST_F(Detached, TheVirtualFunctionsAreAThreads) { EXPECT_EQ(SlotOf(&LDetachedThread::ThreadFunction), 11); }

TEST_F(Detached, DeletesItselfWhenItsFunctionReturned) {
  EXPECT_EQ(Make(Return)->StartDetached(owner_, kOrdinaryPriority), 0);
  EXPECT_TRUE(WaitUntil([this] { return alive_ == 0; }));
  EXPECT_EQ(runs_, 1);
  owner_.StopThreadsNow();
}

TEST_F(Detached, StoppingAnEmptyOwnerReturnsAtOnce) {
  const Stopwatch watch;
  owner_.StopThreadsSoon();
  owner_.StopThreadsNow();
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST_F(Detached, StopThreadsNowEndsAndDeletesAll) {
  for (int i = 0; i < 20; ++i) ASSERT_EQ(Make(SleepUntilStopped)->StartDetached(owner_, kOrdinaryPriority), 0);
  EXPECT_EQ(alive_, 20);
  owner_.StopThreadsNow();
  EXPECT_EQ(alive_, 0);
  EXPECT_EQ(runs_, 20);
}

TEST_F(Detached, StopThreadsSoonLetsThemEndByThemselves) {
  for (int i = 0; i < 20; ++i) ASSERT_EQ(Make(SleepUntilStopped)->StartDetached(owner_, kOrdinaryPriority), 0);
  owner_.StopThreadsSoon();
  EXPECT_TRUE(WaitUntil([this] { return alive_ == 0; }));
}

TEST_F(Detached, TheOwnersEndStopsThem) {
  {
    LDetachedThreadsOwner owner;
    auto* const thread = new DetachedFunction(alive_, SleepUntilStopped);
    owner.Add(thread);
    ASSERT_EQ(thread->StartDetached(owner, kOrdinaryPriority), 0);
  }
  EXPECT_EQ(alive_, 0);
}

TEST_F(Detached, StopThreadsNowWaitsForThoseThatDeleteThemselves) {
  std::atomic<bool> deleting{false};
  class Slow : public DetachedFunction {
   public:
    Slow(std::atomic<int>& alive, std::atomic<bool>& deleting) : DetachedFunction(alive, Return), deleting_(deleting) {}
    ~Slow() override {
      deleting_ = true;
      support::SleepMs(50);
    }

   private:
    std::atomic<bool>& deleting_;
  };
  auto* const slow = new Slow(alive_, deleting);
  owner_.Add(slow);
  slow->StartDetached(owner_, kOrdinaryPriority);
  ASSERT_TRUE(WaitUntil([&] { return deleting.load(); }));
  owner_.StopThreadsNow();
  EXPECT_EQ(alive_, 0);
}

TEST_F(Detached, OneThatWasNeverStartedIsDeletedWithTheOthers) {
  Make(Return);
  owner_.StopThreadsNow();
  EXPECT_EQ(alive_, 0);
  EXPECT_EQ(runs_, 0);
}

TEST_F(Detached, DestructDeletesOneOfTheList) {
  auto* const one = Make(SleepUntilStopped);
  auto* const other = Make(SleepUntilStopped);
  one->StartDetached(owner_, kOrdinaryPriority);
  other->StartDetached(owner_, kOrdinaryPriority);
  owner_.Destruct(one);
  EXPECT_EQ(alive_, 1);
  EXPECT_EQ(runs_, 1) << "its function has returned";
  owner_.Destruct(other);
  EXPECT_EQ(alive_, 0);
}

TEST_F(Detached, DestructLeavesAloneWhatIsNotInTheList) {
  DetachedFunction stranger(alive_, Return);
  owner_.Destruct(&stranger);
  owner_.Destruct(nullptr);
  EXPECT_EQ(alive_, 1);
}

TEST_F(Detached, OneThatIsInNoListIsItsMakers) {
  DetachedFunction own(alive_, Return);
  EXPECT_EQ(own.StartDetached(owner_, kOrdinaryPriority), 0);
  own.JoinThread();
  EXPECT_EQ(alive_, 1);
  EXPECT_TRUE(own.IsToStop()) << "its end signals the stop signal";
}

TEST_F(Detached, OneThatRunsIsNotStartedAgain) {
  DetachedFunction own(alive_, SleepUntilStopped);
  EXPECT_EQ(own.StartDetached(owner_, kOrdinaryPriority), 0);
  EXPECT_EQ(own.StartDetached(owner_, kOrdinaryPriority), EBUSY);
  own.StopThreadAndWait();
}

TEST_F(Detached, AFunctionMayEndItsThreadItself) {
  auto* const thread = Make([](LThread&) { pthread_exit(nullptr); });
  ASSERT_EQ(thread->StartDetached(owner_, kOrdinaryPriority), 0);
  EXPECT_TRUE(WaitUntil([this] { return alive_ == 0; }));
}

// Also where a class does not stop its thread in its destructor.
TEST_F(Detached, TheFunctionHasReturnedWhenTheDestructorBegins) {
  struct Seen {
    std::atomic<bool> running{false}, returned{false}, returned_before_the_end{false};
  };
  class Careless : public LDetachedThread {
   public:
    explicit Careless(Seen& seen) : seen_(seen) {}
    ~Careless() override { seen_.returned_before_the_end = seen_.returned.load(); }
    void ThreadFunction() override {
      seen_.running = true;
      SleepUntilStopped(*this);
      support::SleepMs(30);
      seen_.returned = true;
    }

   private:
    Seen& seen_;
  };
  for (const bool all : {true, false}) {
    Seen seen;
    auto* const thread = new Careless(seen);
    owner_.Add(thread);
    ASSERT_EQ(thread->StartDetached(owner_, kOrdinaryPriority), 0);
    ASSERT_TRUE(WaitUntil([&] { return seen.running.load(); }));
    all ? owner_.StopThreadsNow() : owner_.Destruct(thread);
    EXPECT_TRUE(seen.returned_before_the_end) << (all ? "StopThreadsNow" : "Destruct");
  }
}

/// A thread whose maker is held up before StartDetached has answered; until then it is not done with the object.
class SlowStart : public DetachedFunction {
 public:
  SlowStart(std::atomic<int>& alive, Function function) : DetachedFunction(alive, std::move(function)), alive_(alive) {}
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override {
    std::atomic<int>& alive = alive_;
    is_starting = true;
    support::SleepMs(50);
    EXPECT_EQ(alive, 1);
    return DetachedFunction::ProcessWaitSignal(signal, ms);
  }

  static inline std::atomic<bool> is_starting{false};

 private:
  std::atomic<int>& alive_;
};

TEST_F(Detached, OneThatIsBeingStartedIsNotDeletedByOthers) {
  for (const bool all : {true, false}) {
    SlowStart::is_starting = false;
    auto* const thread = new SlowStart(alive_, SleepUntilStopped);
    owner_.Add(thread);
    std::thread other([&] {
      while (!SlowStart::is_starting) std::this_thread::yield();
      all ? owner_.StopThreadsNow() : owner_.Destruct(thread);
    });
    EXPECT_EQ(thread->StartDetached(owner_, kOrdinaryPriority), 0);
    other.join();
    EXPECT_EQ(alive_, 0);
  }
}

TEST_F(Detached, OneThatIsBeingStartedDoesNotDeleteItself) {
  auto* const thread = new SlowStart(alive_, Return);
  owner_.Add(thread);
  EXPECT_EQ(thread->StartDetached(owner_, kOrdinaryPriority), 0);
  EXPECT_TRUE(WaitUntil([this] { return alive_ == 0; }));
}

// Whoever stops all is told of none that somebody else is still about to delete.
TEST_F(Detached, StopThreadsNowWaitsForWhatSomebodyElseDeletes) {
  std::atomic<bool> stopping{false};
  auto* const slow = Make([&](LThread& self) {
    SleepUntilStopped(self);
    stopping = true;
    support::SleepMs(50);
  });
  ASSERT_EQ(slow->StartDetached(owner_, kOrdinaryPriority), 0);
  std::thread other([&] { owner_.Destruct(slow); });
  ASSERT_TRUE(WaitUntil([&] { return stopping.load(); }));
  owner_.StopThreadsNow();
  EXPECT_EQ(alive_, 0);
  other.join();
}

}  // namespace
