#include <climits>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LProcessEventsHandler.h>

namespace {

using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::kTestClass;
using support::kWaits;
using support::Later;
using support::PostTest;
using support::ReceiveKinds;
using support::Recorder;
using support::RunWait;
using support::StopFlag;
using support::Stopwatch;
using support::Wait;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;
constexpr unsigned int kSomeKind = 100;
constexpr unsigned int kStopKind = 101;

bool IsForSignal(Wait wait) { return wait == Wait::kSignal || wait == Wait::kSignalForever; }

class ProcessEventsHandler : public support::QueueTest {
 protected:
  StopFlag handler_;
  LSignalObject signal_;
};

TEST_F(ProcessEventsHandler, HasNoDataAndOneVirtualFunction) {
  EXPECT_EQ(sizeof(LProcessEventsHandler), sizeof(void*));
  EXPECT_EQ(sizeof(LProcessEventsHandlerNeverStop), sizeof(void*));
  EXPECT_TRUE(std::is_abstract_v<LProcessEventsHandler>);
  EXPECT_FALSE(std::has_virtual_destructor_v<LProcessEventsHandler>);
  EXPECT_FALSE(LProcessEventsHandlerNeverStop().IsProcessEventHandlerToStop());
}

// --- What every wait does ---

TEST_F(ProcessEventsHandler, EveryWaitDispatchesWhatIsQueuedAndWhatArrives) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    const Recorder some(kSomeKind);
    const Recorder stop(kStopKind, [&](auto*) { handler.stop = true; });
    PostTest(kSomeKind);
    const Stopwatch watch;
    const Later later(30, [] {
      PostTest(kSomeKind);
      PostTest(kStopKind);
    });
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_LT(watch.Ms(), kSoonMs);
    EXPECT_EQ(some.Count(), 2);
    EXPECT_EQ(stop.Count(), 1);
  }
}

TEST_F(ProcessEventsHandler, EveryWaitAsksBeforeItReceives) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    handler.stop = true;
    const Recorder some(kSomeKind);
    PostTest(kSomeKind);
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_EQ(handler.asked, 1);
    EXPECT_EQ(some.Count(), 0);
    EXPECT_EQ(ReceiveKinds(), std::vector<int>{kSomeKind});
  }
}

// An event that finds the wait asleep is treated like one that it finds queued: it is the wait that dispatches it, and
// looks around afterwards.
TEST_F(ProcessEventsHandler, EveryWaitAsksAfterEachEvent) {
  for (const Wait wait : kWaits) {
    for (const bool finds_it_asleep : {false, true}) {
      SCOPED_TRACE(::testing::Message() << wait << (finds_it_asleep ? ", asleep" : ", queued before"));
      StopFlag handler;
      const Recorder stop(kStopKind, [&](auto*) { handler.stop = true; });
      const Recorder some(kSomeKind);
      const auto post = [] {
        PostTest(kStopKind);
        PostTest(kSomeKind);
      };
      if (!finds_it_asleep) post();
      const Later later(20, [&] {
        if (finds_it_asleep) post();
      });
      EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
      EXPECT_EQ(some.Count(), 0);
      EXPECT_TRUE(support::WaitUntil([] { return LEventQueueCount() != 0; }));
      EXPECT_EQ(ReceiveKinds(), std::vector<int>{kSomeKind});
    }
  }
}

TEST_F(ProcessEventsHandler, WaitsNestInHandlers) {
  for (const Wait outer : kWaits) {
    for (const Wait inner : kWaits) {
      SCOPED_TRACE(::testing::Message() << outer << " around " << inner);
      StopFlag outer_handler, inner_handler;
      const LSignalObject inner_signal;
      int inner_result = -1;
      const Recorder nest(kSomeKind, [&](auto*) {
        const Later later(5, [&] {
          inner_signal.Signal();
          PostTest(kStopKind);
        });
        const Recorder stop(kStopKind, [&](auto*) { inner_handler.stop = true; });
        inner_result = RunWait(inner, inner_handler, inner_signal, kLongMs);
        outer_handler.stop = true;
      });
      PostTest(kSomeKind);
      EXPECT_EQ(RunWait(outer, outer_handler, signal_, kLongMs), 1);
      if (IsForSignal(inner)) {
        EXPECT_TRUE(inner_result == 0 || inner_result == 1) << inner_result;
      } else {
        EXPECT_EQ(inner_result, 1);
      }
      support::EmptyQueue();
    }
  }
}

// The inner wait must not take the outer one's signal for its own, nor lose it.
TEST_F(ProcessEventsHandler, AnOuterSignalIsSeenAfterTheInnerWait) {
  const LSignalObject inner_signal;
  int inner_result = -1;
  const Recorder nest(kSomeKind, [&](auto*) {
    signal_.Signal();
    inner_result = handler_.ProcessWaitSignalAndProcessEvents(inner_signal, 30);
  });
  PostTest(kSomeKind);
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, kLongMs), 0);
  EXPECT_EQ(inner_result, 2);
}

// --- Pauses ---

TEST_F(ProcessEventsHandler, APauseTakesItsTime) {
  for (const unsigned int ms : {1u, 30u, 60u}) {
    SCOPED_TRACE(ms);
    const Recorder some(kSomeKind);
    PostTest(kSomeKind);
    const Stopwatch watch;
    EXPECT_EQ(handler_.ProcessWaitAndProcessEvents(ms), 0);
    // The clock that is asked counts whole milliseconds.
    EXPECT_GE(watch.Ms() + 1, static_cast<long long>(ms));
    EXPECT_LT(watch.Ms(), ms + kAtOnceMs);
    EXPECT_EQ(some.Count(), 1);
  }
}

TEST_F(ProcessEventsHandler, APauseOfNoTimeOnlyAsksWhetherItIsStopped) {
  for (const bool stop : {false, true}) {
    handler_.stop = stop;
    PostTest(kSomeKind);
    const Recorder some(kSomeKind);
    EXPECT_EQ(handler_.ProcessWaitAndProcessEvents(0), stop ? 1 : 0);
    EXPECT_EQ(some.Count(), 0);
    EXPECT_EQ(ReceiveKinds(), std::vector<int>{kSomeKind});
  }
}

// The time left is counted in 32 bits with a sign.
TEST_F(ProcessEventsHandler, APauseOfMoreThan31BitsEndsAtOnce) {
  for (const unsigned int ms : {0x80000000u, 0x80000001u, 0xC0000000u, 0xFFFFFFFEu}) {
    SCOPED_TRACE(ms);
    StopFlag handler;
    PostTest(kSomeKind);
    const Stopwatch watch;
    EXPECT_EQ(handler.ProcessWaitAndProcessEvents(ms), 0);
    handler.stop = true;
    EXPECT_EQ(handler.ProcessWaitAndProcessEvents(ms), 1);
    EXPECT_LT(watch.Ms(), kAtOnceMs);
    EXPECT_EQ(ReceiveKinds(), std::vector<int>{kSomeKind});
  }
}

TEST_F(ProcessEventsHandler, AnEventOfKind3EndsAPauseOnceItIsDispatched) {
  struct Case {
    unsigned int cls;
    unsigned int kind;
    int expected;
  };
  for (const auto& [cls, kind, expected] :
       {Case{kTestClass, 3, 1}, Case{0, 3, 1}, Case{core::kWakeUpClass, 3, 1}, Case{core::kMarker, 3, 1},
        Case{kTestClass, 0, 0}, Case{kTestClass, 1, 0}, Case{kTestClass, 2, 0}, Case{kTestClass, 4, 0}, Case{3, 7, 0},
        Case{core::kWakeUpClass, core::kWakeUpKind, 0}, Case{kTestClass, 0x10003, 0}}) {
    SCOPED_TRACE(::testing::Message() << cls << ", " << kind);
    const Recorder recorder(cls, kind);
    ASSERT_TRUE(LEventQueuePost(cls, kind, platform::kStandardPriority));
    ASSERT_TRUE(LEventQueuePost(cls, kind, platform::kStandardPriority));
    const Stopwatch watch;
    EXPECT_EQ(handler_.ProcessWaitAndProcessEvents(expected == 1 ? kLongMs : 20), expected);
    EXPECT_LT(watch.Ms(), kSoonMs);
    EXPECT_EQ(recorder.Count(), expected == 1 ? 1 : 2);
    EXPECT_EQ(ReceiveKinds().size(), expected == 1 ? 1u : 0u);
  }
}

TEST_F(ProcessEventsHandler, AnEventOfKind3ThatFindsThePauseAsleepEndsItToo) {
  const Recorder third(3);
  const Stopwatch watch;
  const Later later(30, [] { PostTest(3); });
  EXPECT_EQ(handler_.ProcessWaitAndProcessEvents(kLongMs / 2), 1);
  EXPECT_LT(watch.Ms(), kSoonMs);
  EXPECT_EQ(third.Count(), 1);
}

TEST_F(ProcessEventsHandler, AnEventOfKind3EndsNoOtherWait) {
  for (const Wait wait : {Wait::kForever, Wait::kSignal, Wait::kSignalForever}) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    const Recorder third(3);
    const Recorder stop(kStopKind, [&](auto*) { handler.stop = true; });
    PostTest(3);
    PostTest(kStopKind);
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_EQ(third.Count(), 1);
    EXPECT_EQ(stop.Count(), 1);
  }
}

TEST_F(ProcessEventsHandler, APauseWithoutALimitGoesOnUntilStopped) {
  const Recorder third(3);
  const Recorder stop(kStopKind, [&](auto*) { handler_.stop = true; });
  PostTest(3);
  const Stopwatch watch;
  const Later later(60, [] { PostTest(kStopKind); });
  EXPECT_EQ(handler_.ProcessWaitAndProcessEvents(kNoLimit), 1);
  EXPECT_GE(watch.Ms(), 60);
  EXPECT_EQ(third.Count(), 1);
}

// Without an event too: what another thread changed is noticed within hundredths of a second.
TEST_F(ProcessEventsHandler, WaitsWithoutALimitAskAgainAndAgain) {
  for (const Wait wait : {Wait::kForever, Wait::kSignalForever}) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    const Stopwatch watch;
    const Later later(100, [&] { handler.stop = true; });
    EXPECT_EQ(RunWait(wait, handler, signal_, 0), 1);
    EXPECT_GE(watch.Ms(), 100);
    EXPECT_GE(handler.asked, 3);
    // Not more often than time allows: it sleeps in between.
    EXPECT_LE(handler.asked, watch.Ms() / 10 + 5);
  }
}

TEST_F(ProcessEventsHandler, TimedWaitsSleepUntilSomethingHappens) {
  for (const Wait wait : {Wait::kTime, Wait::kSignal}) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    RunWait(wait, handler, signal_, 200);
    EXPECT_LE(handler.asked, 20);
  }
}

TEST_F(ProcessEventsHandler, TheFreePauseNeverStops) {
  const Recorder some(kSomeKind);
  const Recorder third(3);
  PostTest(kSomeKind);
  const Stopwatch watch;
  EXPECT_EQ(ProcessWaitAndProcessEvents(30), 0);
  EXPECT_GE(watch.Ms() + 1, 30);
  EXPECT_EQ(some.Count(), 1);
  PostTest(3);
  EXPECT_EQ(ProcessWaitAndProcessEvents(kLongMs), 1);
  EXPECT_EQ(third.Count(), 1);
}

// --- Waits for a signal ---

TEST_F(ProcessEventsHandler, TimeComesFirstThenTheSignalThenTheStop) {
  struct Case {
    bool is_signalled, is_stopped;
    unsigned int ms;
    int expected;
    int expected_for_ever;  // -1: it would not end
  };
  for (const auto& one :
       {Case{false, false, 0, 2, -1}, Case{true, false, 0, 2, 0}, Case{false, true, 0, 2, 1}, Case{true, true, 0, 2, 0},
        Case{false, false, 30, 2, -1}, Case{true, false, kLongMs, 0, 0}, Case{false, true, kLongMs, 1, 1},
        Case{true, true, kLongMs, 0, 0}, Case{true, true, kNoLimit, 0, 0}, Case{false, true, kNoLimit, 1, 1}}) {
    SCOPED_TRACE(::testing::Message() << one.is_signalled << one.is_stopped << ", " << one.ms << " ms");
    StopFlag handler;
    handler.stop = one.is_stopped;
    const LSignalObject signal;
    if (one.is_signalled) signal.Signal();
    const Stopwatch watch;
    EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, one.ms), one.expected);
    if (one.expected_for_ever >= 0) {
      EXPECT_EQ(handler.ProcessWaitSignalForeverAndProcessEvents(signal), one.expected_for_ever);
    }
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

TEST_F(ProcessEventsHandler, AnObjectThatIsSignalledAlreadyNeedsNoEvent) {
  signal_.Signal();
  PostTest(kSomeKind);
  const Recorder some(kSomeKind);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, kLongMs), 0);
    EXPECT_EQ(handler_.ProcessWaitSignalForeverAndProcessEvents(signal_), 0);
    EXPECT_EQ(ProcessWaitSignalObjectAndProcessEvents(signal_), 0);
  }
  EXPECT_EQ(handler_.asked, 0);
  EXPECT_EQ(some.Count(), 0);
  EXPECT_EQ(ReceiveKinds(), std::vector<int>{kSomeKind});
  EXPECT_TRUE(signal_.IsSignaled());
}

TEST_F(ProcessEventsHandler, NoTimeIsNoTimeWhateverIsQueued) {
  signal_.Signal();
  PostTest(kSomeKind);
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, 0), 2);
  EXPECT_EQ(handler_.asked, 0);
  EXPECT_EQ(ReceiveKinds(), std::vector<int>{kSomeKind});
}

TEST_F(ProcessEventsHandler, AWaitForASignalTakesItsTime) {
  const Stopwatch watch;
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, 60), 2);
  EXPECT_GE(watch.Ms() + 1, 60);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(ProcessEventsHandler, ASignalOfAnotherThreadWakesTheWait) {
  for (const unsigned int ms : {kLongMs, 0x80000000u, kNoLimit}) {
    SCOPED_TRACE(ms);
    const LSignalObject signal;
    const Stopwatch watch;
    const Later later(50, [&] { signal.Signal(); });
    EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal, ms), 0);
    EXPECT_GE(watch.Ms(), 50);
    EXPECT_LT(watch.Ms(), kSoonMs);
    // It slept until then, and woke once.
    EXPECT_LE(handler_.asked, 10);
    handler_.asked = 0;
  }
  const LSignalObject signal;
  const Later later(50, [&] { signal.Signal(); });
  EXPECT_EQ(ProcessWaitSignalObjectAndProcessEvents(signal), 0);
}

TEST_F(ProcessEventsHandler, ASignalOfAHandlerEndsTheWait) {
  for (const Wait wait : {Wait::kSignal, Wait::kSignalForever}) {
    SCOPED_TRACE(wait);
    LSignalObject signal;
    const Recorder some(kSomeKind, [&](auto*) { signal.Signal(); });
    PostTest(kSomeKind);
    PostTest(kSomeKind + 1);
    EXPECT_EQ(RunWait(wait, handler_, signal, kLongMs), 0);
    EXPECT_EQ(some.Count(), 1);
    EXPECT_EQ(ReceiveKinds(), std::vector<int>{kSomeKind + 1});
  }
}

TEST_F(ProcessEventsHandler, AnObjectWithoutDescriptorsNeverBecomesSignalled) {
  const LSignalObjectRef none;
  const Stopwatch watch;
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(none, 30), 2);
  EXPECT_GE(watch.Ms() + 1, 30);
  const Recorder stop(kStopKind, [&](auto*) { handler_.stop = true; });
  PostTest(kStopKind);
  EXPECT_EQ(handler_.ProcessWaitSignalForeverAndProcessEvents(none), 1);
}

}  // namespace
