// Threads against those who stop, restart and destroy them. Meant for ThreadSanitizer; long with TILLVANE_TEST_LONG
// set.

#include <pthread.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LDetachedThread.h>
#include <tillvane/core/LThread.h>

namespace {

using support::DetachedFunction;
using support::FunctionThread;
using support::kOrdinaryPriority;
using support::Rounds;
using support::SleepUntilStopped;

constexpr int kRequests = 1000;

/// Asks a thread to stop again and again for as long as this lives.
class Requests {
 public:
  explicit Requests(LThread& thread)
      : thread_([this, &thread] {
          while (!over_) thread.StopThreadSoon();
        }) {}
  ~Requests() {
    over_ = true;
    thread_.join();
  }
  Requests(const Requests&) = delete;
  Requests& operator=(const Requests&) = delete;

 private:
  std::atomic<bool> over_{false};
  std::thread thread_;
};

TEST(ThreadStress, StopRequestsBeforeTheStartAreForgotten) {
  FunctionThread thread([](LThread& self) { EXPECT_FALSE(self.IsToStop()); });
  for (int round = 0; round < 10; ++round) {
    for (int i = 0; i < Rounds(kRequests) / 10; ++i) thread.StopThreadSoon();
    thread.Start(kOrdinaryPriority);
    thread.JoinThread();
  }
  EXPECT_EQ(thread.runs, 10);
}

TEST(ThreadStress, AStopRequestEndsAThreadThatWorks) {
  FunctionThread thread([](LThread& self) {
    while (!self.IsToStop()) std::this_thread::yield();
  });
  for (int i = 0; i < Rounds(kRequests); ++i) {
    thread.Start(kOrdinaryPriority);
    thread.StopThreadSoon();
    thread.JoinThread();
  }
  EXPECT_EQ(thread.runs, Rounds(kRequests));
}

TEST(ThreadStress, AStopRequestEndsAThreadThatSleeps) {
  FunctionThread thread(SleepUntilStopped);
  LSignalObject never;
  FunctionThread waiting([&](LThread& self) {
    while (self.ProcessWaitSignal(never, 0xFFFFFFFF) != 1) {
    }
    EXPECT_TRUE(self.IsToStop());
  });
  for (int i = 0; i < Rounds(kRequests) / 2; ++i) {
    thread.Start(kOrdinaryPriority);
    waiting.Start(kOrdinaryPriority);
    thread.StopThreadAndWait();
    waiting.StopThreadAndWait();
  }
  EXPECT_EQ(waiting.runs, Rounds(kRequests) / 2);
}

TEST(ThreadStress, AStopRequestMeetsTheEnd) {
  FunctionThread thread([](LThread&) {});
  for (int i = 0; i < Rounds(kRequests); ++i) {
    thread.Start(kOrdinaryPriority);
    thread.StopThreadSoon();
    thread.StopThreadSoon();
  }
  thread.StopThreadAndWait();
  EXPECT_FALSE(thread.IsRunning());
}

TEST(ThreadStress, AStormOfRequestsThroughStartsAndEnds) {
  FunctionThread thread(SleepUntilStopped);
  const Requests requests(thread);
  for (int i = 0; i < Rounds(kRequests) / 4; ++i) {
    thread.Start(kOrdinaryPriority);
    thread.JoinThread();
  }
}

TEST(ThreadStress, AThreadEndsWhileItIsDestroyed) {
  for (int i = 0; i < Rounds(kRequests); ++i) {
    FunctionThread thread([](LThread&) {});
    thread.Start(kOrdinaryPriority);
  }
}

TEST(ThreadStress, AThreadEndsWhileOthersStartStopJoinAndRankIt) {
  std::atomic<int> at_once{0};
  FunctionThread thread([&](LThread&) {
    EXPECT_EQ(++at_once, 1);
    --at_once;
  });
  std::vector<std::thread> others;
  const auto repeat = [&](void (*act)(LThread&)) {
    others.emplace_back([&thread, act] {
      for (int i = 0; i < Rounds(kRequests) / 4; ++i) act(thread);
    });
  };
  for (int i = 0; i < 2; ++i) {
    repeat([](LThread& it) { it.Start(kOrdinaryPriority); });
    repeat([](LThread& it) { it.StopThreadAndWait(); });
    repeat([](LThread& it) { it.JoinThread(); });
    repeat([](LThread& it) { it.SetPriority(kOrdinaryPriority); });
  }
  for (std::thread& other : others) other.join();
  thread.StopThreadAndWait();
  EXPECT_GT(thread.runs, 0);
}

// Each of them waits for the thread that it has asked to stop, and not for one that was started since.
TEST(ThreadStress, OneStartsWhatOthersStop) {
  FunctionThread thread(SleepUntilStopped);
  std::atomic<bool> over{false};
  std::thread starter([&] {
    while (!over) thread.Start(kOrdinaryPriority);
  });
  // The others may be done before it has begun.
  EXPECT_TRUE(support::WaitUntil([&] { return thread.runs > 0; }));
  std::vector<std::thread> stoppers;
  for (int i = 0; i < 2; ++i) {
    stoppers.emplace_back([&] {
      for (int round = 0; round < Rounds(kRequests); ++round) thread.StopThreadAndWait();
    });
  }
  for (std::thread& stopper : stoppers) stopper.join();
  over = true;
  starter.join();
}

// Whoever waits for the ended signal may destroy the object at once.
TEST(ThreadStress, TheEndedSignalIsFollowedByTheEndOfTheObject) {
  for (int i = 0; i < Rounds(kRequests); ++i) {
    FunctionThread thread([](LThread&) {});
    thread.Start(kOrdinaryPriority);
    while (!thread.EndedSignal().IsSignaled()) thread.EndedSignal().WaitSignal(0xFFFFFFFF);
  }
}

class DetachedStress : public testing::Test {
 protected:
  /// Adds a thread and starts it; it is gone, or will be, in any case.
  void Launch(const DetachedFunction::Function& function) {
    auto* const thread = new DetachedFunction(alive_, [this, function](LThread& self) {
      function(self);
      ++runs_;
    });
    owner_.Add(thread);
    const int error = thread->StartDetached(owner_, kOrdinaryPriority);
    if (error == EAGAIN) owner_.Destruct(thread);
    started_ += error != EAGAIN ? 1 : 0;
  }

  std::atomic<int> alive_{0}, runs_{0};
  int started_ = 0;
  LDetachedThreadsOwner owner_;
};

TEST_F(DetachedStress, ManyThroughOneOwner) {
  constexpr int most_at_once = 150;
  for (int i = 0; i < Rounds(kRequests); ++i) {
    while (alive_ >= most_at_once) support::SleepMs(1);
    // Some that end at once, some that live a little.
    Launch(i % 3 == 0 ? [](LThread& self) { self.ProcessWait(20); } : [](LThread&) {});
  }
  owner_.StopThreadsNow();
  EXPECT_EQ(alive_, 0);
  EXPECT_EQ(runs_, started_);
}

TEST_F(DetachedStress, TheyEndWhileTheyAreStopped) {
  for (int round = 0; round < Rounds(kRequests) / 50; ++round) {
    for (int i = 0; i < 30; ++i) Launch(i % 2 == 0 ? [](LThread&) {} : [](LThread& self) { self.ProcessWait(1); });
    owner_.StopThreadsNow();
    ASSERT_EQ(alive_, 0);
  }
  EXPECT_EQ(runs_, started_);
}

TEST_F(DetachedStress, DestructMeetsStopThreadsNow) {
  for (int round = 0; round < Rounds(kRequests) / 50; ++round) {
    std::vector<DetachedFunction*> threads;
    for (int i = 0; i < 20; ++i) {
      threads.push_back(new DetachedFunction(alive_, SleepUntilStopped));
      owner_.Add(threads.back());
      ASSERT_EQ(threads.back()->StartDetached(owner_, kOrdinaryPriority), 0);
    }
    std::array<std::thread, 3> others;
    // Each of them deletes what it finds in the list, and nothing twice.
    for (std::thread& other : others) {
      other = std::thread([&] {
        for (DetachedFunction* thread : threads) owner_.Destruct(thread);
      });
    }
    owner_.StopThreadsNow();
    for (std::thread& other : others) other.join();
    ASSERT_EQ(alive_, 0);
  }
}

}  // namespace
