// The waits and the event queue beside a host's own sources and loops.

#include <glib.h>
#include <poll.h>

#include <atomic>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tests/support/glib_sources.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/run_loop.h>

namespace {

using platform::Received;
using platform::ReceiveEvent;
using support::HostLoop;
using support::HostSource;
using support::kLongMs;
using support::kSoonMs;
using support::kWaits;
using support::Later;
using support::PollCounter;
using support::PostTest;
using support::Recorder;
using support::RunWait;
using support::StopFlag;
using support::Stopwatch;
using support::Wait;

/// A loop that sleeps polls a few times in a test, one that spins tens of thousands of times.
constexpr int kFewPolls = 100;
constexpr int kLow = G_PRIORITY_LOW;

class EventLoopLinux : public support::QueueTest {
 protected:
  LSignalObject signal_;
};

// --- The host's sources run while a wait runs ---

TEST_F(EventLoopLinux, AButtonOfTheHostEndsEveryWait) {
  for (const Wait wait : kWaits) {
    for (const int ms : {HostSource::kIdle, 30}) {
      SCOPED_TRACE(::testing::Message() << wait << ", " << ms);
      StopFlag handler;
      const HostSource cancel(
          ms, [&] { handler.stop = true; }, kLow);
      const Stopwatch watch;
      EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
      EXPECT_LT(watch.Ms(), kSoonMs);
      // Asked before, and again once the source has run.
      EXPECT_LE(cancel.Count(), 2);
    }
  }
}

TEST_F(EventLoopLinux, TheHostsSourcesGoOnInEveryWait) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    const HostSource idle(HostSource::kIdle, {}, kLow);
    const HostSource tick(5);
    const HostSource end(100, [&] { handler.stop = true; });
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_GE(tick.Count(), 5);
    EXPECT_GE(idle.Count(), 5);
  }
}

// Each event posts the next one, ahead of all others, so that the queue is never empty.
TEST_F(EventLoopLinux, AFullQueueDoesNotHoldTheHostUp) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    const Recorder flood(1, [&](auto*) {
      EXPECT_FALSE(handler.stop) << "dispatched although the host had stopped the wait before";
      PostTest(1, platform::kHighPriority);
    });
    const HostSource tick(20);
    const HostSource idle(HostSource::kIdle, {}, kLow);
    const HostSource end(200, [&] { handler.stop = true; });
    PostTest(1);
    const Stopwatch watch;
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_LT(watch.Ms(), kSoonMs);
    EXPECT_GE(tick.Count(), 3);
    EXPECT_GE(idle.Count(), 1);
    // Nor does the host hold the events up.
    EXPECT_GE(flood.Count(), 100);
    support::EmptyQueue();
  }
}

// Also when events that took no time came just before.
TEST_F(EventLoopLinux, EventsThatTakeLongDoNotHoldTheHostUp) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    const Recorder fast(1);
    int turns_before = 0;
    int held_up = 0;
    const HostSource tick(1);
    const Recorder slow(2, [&](auto*) {
      // The host had no turn since the last event that took long.
      if (tick.Count() == std::exchange(turns_before, tick.Count())) ++held_up;
      support::SleepMs(20);
    });
    const Recorder stop(3, [&](auto*) { handler.stop = true; });
    for (int i = 0; i < 10; ++i) PostTest(1);
    for (int i = 0; i < 8; ++i) PostTest(2);
    PostTest(3);
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_EQ(slow.Count(), 8);
    EXPECT_LE(held_up, 2);
  }
}

TEST_F(EventLoopLinux, AFloodOfAnotherThreadDoesNotHoldTheHostUp) {
  StopFlag handler;
  const Recorder some(1);
  std::atomic<bool> over{false};
  std::thread poster([&] {
    while (!over) {
      if (LEventQueueCount() < 1000) PostTest(1);
    }
  });
  {
    const HostSource idle(HostSource::kIdle, {}, kLow);
    const HostSource end(100, [&] { handler.stop = true; });
    EXPECT_EQ(handler.ProcessWaitAndProcessEvents(kLongMs), 1);
    EXPECT_GE(idle.Count(), 3);
  }
  over = true;
  poster.join();
}

// A host that is always busy, on the other hand, does not hold the events up.
TEST_F(EventLoopLinux, ABusyHostDoesNotHoldTheEventsUp) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    const HostSource busy(
        HostSource::kIdle, [] { support::SleepMs(1); }, G_PRIORITY_HIGH);
    int left = 50;
    const Recorder some(1, [&](auto*) { --left > 0 ? PostTest(1) : void(handler.stop = true); });
    PostTest(1);
    const Stopwatch watch;
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_LT(watch.Ms(), kSoonMs);
    EXPECT_EQ(some.Count(), 50);
  }
}

TEST_F(EventLoopLinux, TheTimeOfAPauseIsKeptBesideABusyHost) {
  StopFlag handler;
  const HostSource busy(HostSource::kIdle, [] { support::SleepMs(1); });
  for (const Wait wait : {Wait::kTime, Wait::kSignal}) {
    const Stopwatch watch;
    EXPECT_EQ(RunWait(wait, handler, signal_, 50), wait == Wait::kTime ? 0 : 2);
    EXPECT_GE(watch.Ms() + 1, 50);
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

TEST_F(EventLoopLinux, ASignalOfTheHostsSourceEndsTheWait) {
  for (const Wait wait : {Wait::kSignal, Wait::kSignalForever}) {
    StopFlag handler;
    const LSignalObject signal;
    const HostSource tick(20, [&] { signal.Signal(); });
    const Stopwatch watch;
    EXPECT_EQ(RunWait(wait, handler, signal, kLongMs), 0);
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

TEST_F(EventLoopLinux, AWaitSleepsWhileNothingHappens) {
  for (const Wait wait : {Wait::kTime, Wait::kSignal}) {
    StopFlag handler;
    const PollCounter polls;
    RunWait(wait, handler, signal_, 150);
    EXPECT_LE(polls.Count(), kFewPolls);
  }
}

// --- Receiving ---

TEST_F(EventLoopLinux, ReceivingReturnsWithoutAnEventAfterASourceOfTheHosts) {
  const HostSource tick(20);
  const Stopwatch watch;
  platform::Event* event = nullptr;
  while (tick.Count() == 0) EXPECT_EQ(ReceiveEvent(kLongMs * 0.001, &event), Received::kNothing);
  EXPECT_EQ(tick.Count(), 1);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(EventLoopLinux, ReceivingReturnsWithoutAnEventWhenASignalHandlerRan) {
  const support::Interrupter interrupter(20000);
  const Stopwatch watch;
  platform::Event* event = nullptr;
  EXPECT_EQ(ReceiveEvent(kLongMs * 0.001, &event), Received::kNothing);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(EventLoopLinux, ReceivingWithoutTimeLetsTheHostHaveATurnAndStillReceives) {
  const HostSource idle(HostSource::kIdle, [] { PostTest(2); });
  EXPECT_EQ(support::ReceiveKind(), 2);
  EXPECT_EQ(idle.Count(), 1);
}

// The events are the caller's: no loop dispatches them meanwhile.
TEST_F(EventLoopLinux, ReceivingDispatchesNothing) {
  const Recorder some(1);
  const HostSource tick(5);
  const Later later(30, [] { PostTest(1); });
  platform::Event* event = nullptr;
  const Stopwatch watch;
  while (ReceiveEvent(1, &event) != Received::kEvent && watch.Ms() < kSoonMs) {
  }
  ASSERT_NE(event, nullptr);
  platform::ReleaseEvent(event);
  EXPECT_EQ(some.Count(), 0);
}

// --- Loops inside loops ---

TEST_F(EventLoopLinux, AHostsLoopDispatchesEventsAsTheyCome) {
  HostLoop loop;
  const Recorder some(1);
  const Recorder end(2, [&](auto*) { loop.Quit(); });
  PostTest(1);
  const Later later(30, [] {
    PostTest(1);
    PostTest(2);
  });
  const PollCounter polls;
  loop.Run();
  EXPECT_EQ(some.Count(), 2);
  EXPECT_LE(polls.Count(), kFewPolls);
}

TEST_F(EventLoopLinux, AHostsLoopInAHandlerOfAWaitDispatchesEvents) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    HostLoop loop;
    bool is_inside = false;
    const Recorder dialog(1, [&](auto*) {
      const Later later(20, [] { PostTest(2); });
      is_inside = true;
      const HostSource limit(static_cast<int>(kSoonMs), [&] { loop.Quit(); });
      loop.Run();
      is_inside = false;
      handler.stop = true;
    });
    const Recorder button(2, [&](auto*) {
      EXPECT_TRUE(is_inside);
      loop.Quit();
    });
    PostTest(1);
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_EQ(button.Count(), 1);
  }
}

TEST_F(EventLoopLinux, AHostsLoopInASourceDuringAWaitDispatchesEvents) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    HostLoop loop;
    bool is_inside = false;
    const Recorder button(2, [&](auto*) {
      EXPECT_TRUE(is_inside);
      loop.Quit();
    });
    const HostSource limit(static_cast<int>(kSoonMs), [&] { loop.Quit(); });
    const HostSource dialog(10, [&] {
      const Later later(20, [] { PostTest(2); });
      is_inside = true;
      loop.Run();
      is_inside = false;
      handler.stop = true;
    });
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_EQ(button.Count(), 1);
  }
}

TEST_F(EventLoopLinux, AHostsLoopInAHandlerOfAHostsLoopDispatchesEvents) {
  HostLoop outer, inner;
  bool is_inside = false;
  const HostSource limit(static_cast<int>(kSoonMs), [&] { inner.Quit(); });
  const Recorder dialog(1, [&](auto*) {
    const Later later(20, [] { PostTest(2); });
    is_inside = true;
    inner.Run();
    is_inside = false;
    outer.Quit();
  });
  const Recorder button(2, [&](auto*) {
    EXPECT_TRUE(is_inside);
    inner.Quit();
  });
  PostTest(1);
  outer.Run();
  EXPECT_EQ(button.Count(), 1);
}

TEST_F(EventLoopLinux, EveryWaitWorksInAHandlerOfAHostsLoop) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    HostLoop loop;
    StopFlag handler;
    const Recorder stop(2, [&](auto*) { handler.stop = true; });
    const Recorder wait_inside(1, [&](auto*) {
      const Stopwatch watch;
      const Later later(20, [] { PostTest(2); });
      EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
      EXPECT_LT(watch.Ms(), kSoonMs);
      loop.Quit();
    });
    PostTest(1);
    loop.Run();
    EXPECT_EQ(stop.Count(), 1);
  }
}

TEST_F(EventLoopLinux, EveryWaitWorksInASourceDuringAnother) {
  for (const Wait outer : kWaits) {
    for (const Wait inner : kWaits) {
      SCOPED_TRACE(::testing::Message() << outer << " around " << inner);
      StopFlag outer_handler, inner_handler;
      const LSignalObject inner_signal;
      int inner_result = -1;
      const Recorder stop(2, [&](auto*) { inner_handler.stop = true; });
      const HostSource source(10, [&] {
        const Later later(10, [] { PostTest(2); });
        inner_result = RunWait(inner, inner_handler, inner_signal, kLongMs);
        outer_handler.stop = true;
      });
      EXPECT_EQ(RunWait(outer, outer_handler, signal_, kLongMs), 1);
      EXPECT_EQ(inner_result, 1);
      EXPECT_EQ(stop.Count(), 1);
    }
  }
}

TEST_F(EventLoopLinux, ASignalEndsAWaitInASourceOfAHostsLoop) {
  HostLoop loop;
  StopFlag handler;
  const HostSource source(10, [&] {
    const Stopwatch watch;
    const Later later(20, [&] { signal_.Signal(); });
    EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal_, kLongMs), 0);
    EXPECT_LT(watch.Ms(), kSoonMs);
    loop.Quit();
  });
  loop.Run();
}

// --- Brackets ---

TEST_F(EventLoopLinux, ABracketsStopIsCalledFromTheHostsLoop) {
  HostLoop loop;
  platform::EnterRunLoop([](void* data) { static_cast<HostLoop*>(data)->Quit(); }, &loop);
  {
    const HostSource limit(static_cast<int>(kSoonMs), [&] {
      ADD_FAILURE() << "not stopped";
      loop.Quit();
    });
    const Later later(30, [] { EXPECT_TRUE(platform::StopRunLoop()); });
    loop.Run();
  }
  platform::LeaveRunLoop();
}

// --- A host that polls the descriptor, and runs GLib's loop as well ---

TEST_F(EventLoopLinux, ADescriptorThatIsPolledDoesNotKeepAHostsLoopAwake) {
  ASSERT_GE(LEventQueueDescriptor(), 0);
  const Recorder some(1);
  PostTest(1);
  HostLoop().RunFor(10);
  EXPECT_EQ(some.Count(), 1);
  const PollCounter polls;
  HostLoop().RunFor(100);
  EXPECT_LE(polls.Count(), kFewPolls);
}

TEST_F(EventLoopLinux, ADescriptorThatIsPolledIsSilentAsSoonAsAHostsLoopTookTheLastEvent) {
  pollfd polled{LEventQueueDescriptor(), POLLIN, 0};
  const Recorder some(1);
  for (int i = 1; i <= 3; ++i) {
    PostTest(1);
    EXPECT_EQ(poll(&polled, 1, 0), 1);
    const Stopwatch watch;
    while (some.Count() < i && watch.Ms() < kSoonMs) g_main_context_iteration(nullptr, FALSE);
    EXPECT_EQ(poll(&polled, 1, 0), 0) << "event " << i;
  }
}

TEST_F(EventLoopLinux, AStopThatNobodyTookDoesNotKeepAHostsLoopAwake) {
  ASSERT_GE(LEventQueueDescriptor(), 0);
  platform::EnterRunLoop(nullptr, nullptr);
  platform::StopRunLoop();
  platform::LeaveRunLoop();
  const PollCounter polls;
  HostLoop().RunFor(100);
  EXPECT_LE(polls.Count(), kFewPolls);
}

}  // namespace
