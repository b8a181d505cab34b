// The waits where another thread runs GLib's default main context.

#include <glib.h>
#include <poll.h>

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>

namespace {

using support::kLongMs;
using support::kSoonMs;
using support::kWaits;
using support::Later;
using support::PostTest;
using support::ReceiveKinds;
using support::Recorder;
using support::RunWait;
using support::StopFlag;
using support::Stopwatch;
using support::Wait;

using Kinds = std::vector<int>;

class ForeignLoop : public support::QueueTest {
 protected:
  /// Runs the default context on a thread of its own until it goes away.
  class Thread {
   public:
    explicit Thread(bool runs) : thread_([this, runs] { Run(runs); }) {
      while (!is_owner_) support::SleepMs(1);
    }
    int Turns() const { return turns_; }
    ~Thread() {
      over_ = true;
      g_main_context_wakeup(nullptr);
      thread_.join();
    }

   private:
    void Run(bool runs) {
      ASSERT_TRUE(g_main_context_acquire(nullptr));
      is_owner_ = true;
      while (!over_) {
        if (runs) g_main_context_iteration(nullptr, TRUE);
        ++turns_;
        support::SleepMs(1);
      }
      g_main_context_release(nullptr);
    }

    std::atomic<bool> is_owner_{false}, over_{false};
    std::atomic<int> turns_{0};
    std::thread thread_;
  };

  LSignalObject signal_;
};

TEST_F(ForeignLoop, TheWaitsDispatchEventsAllTheSame) {
  for (const bool runs : {false, true}) {
    for (const Wait wait : kWaits) {
      SCOPED_TRACE(::testing::Message() << wait << (runs ? ", the other thread's loop runs" : ""));
      const Thread thread(runs);
      StopFlag handler;
      const std::thread::id here = std::this_thread::get_id();
      const Recorder stop(1, [&](auto*) {
        EXPECT_EQ(std::this_thread::get_id(), here);
        handler.stop = true;
      });
      const Stopwatch watch;
      const Later later(30, [] { PostTest(1); });
      EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
      EXPECT_GE(watch.Ms() + 1, 30);
      EXPECT_LT(watch.Ms(), kSoonMs);
      EXPECT_EQ(stop.Count(), 1);
    }
  }
}

TEST_F(ForeignLoop, TimedWaitsTakeTheirTime) {
  const Thread thread(true);
  StopFlag handler;
  for (const Wait wait : {Wait::kTime, Wait::kSignal}) {
    const Stopwatch watch;
    EXPECT_EQ(RunWait(wait, handler, signal_, 50), wait == Wait::kTime ? 0 : 2);
    EXPECT_GE(watch.Ms() + 1, 50);
  }
  EXPECT_LE(handler.asked, 20);
}

TEST_F(ForeignLoop, ASignalEndsTheWait) {
  for (const bool runs : {false, true}) {
    for (const Wait wait : {Wait::kSignal, Wait::kSignalForever}) {
      SCOPED_TRACE(::testing::Message() << wait << (runs ? ", the other thread's loop runs" : ""));
      const Thread thread(runs);
      StopFlag handler;
      const LSignalObject signal;
      const Stopwatch watch;
      const Later later(30, [&] { signal.Signal(); });
      EXPECT_EQ(RunWait(wait, handler, signal, kLongMs), 0);
      EXPECT_LT(watch.Ms(), kSoonMs);
    }
  }
}

TEST_F(ForeignLoop, AHostThatPollsTheDescriptorSeesEveryEvent) {
  const Thread thread(true);
  pollfd polled{LEventQueueDescriptor(), POLLIN, 0};
  const Recorder events(1);
  for (int i = 1; i <= 200; ++i) {
    std::thread([] { PostTest(1); }).join();
    // Time for the other thread's loop to do what it should not.
    if (i % 20 == 0) support::SleepMs(5);
    ASSERT_EQ(poll(&polled, 1, kLongMs), 1);
    EXPECT_TRUE(LEventQueueDrain());
    ASSERT_EQ(events.Count(), i);
  }
}

TEST_F(ForeignLoop, AnEventThatWaitsForTheMainThreadDoesNotSpinTheOtherLoop) {
  const Thread thread(true);
  pollfd polled{LEventQueueDescriptor(), POLLIN, 0};
  std::thread([] { PostTest(1); }).join();
  support::SleepMs(200);
  EXPECT_EQ(poll(&polled, 1, 0), 1);
  // Each turn of the loop is followed by a millisecond's sleep.
  EXPECT_LE(thread.Turns(), 50);
}

TEST_F(ForeignLoop, EventsAreForTheMainThreadOnly) {
  const Recorder some(1);
  const Thread thread(true);
  PostTest(1);
  support::SleepMs(50);
  EXPECT_EQ(some.Count(), 0);
  EXPECT_EQ(ReceiveKinds(), Kinds{1});
}

}  // namespace
