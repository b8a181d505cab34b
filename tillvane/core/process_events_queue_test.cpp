// What the waits and the clearing functions do with the queue itself: wake-ups, requests to quit, numbers of events.

#include <algorithm>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/platform/run_loop.h>

namespace {

using core::kMarker;
using core::kWakeUpClass;
using core::kWakeUpKind;
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

constexpr unsigned int kSomeKind = 100;
constexpr unsigned int kStopKind = 101;
using Kinds = std::vector<int>;

class ProcessEventsQueue : public support::QueueTest {
 protected:
  StopFlag handler_;
  LSignalObject signal_;
};

// --- Wake-ups ---

TEST_F(ProcessEventsQueue, WaitsForASignalSwallowWakeUpsAndNothingElseDoes) {
  for (const Wait wait : kWaits) {
    for (const bool finds_it_asleep : {false, true}) {
      SCOPED_TRACE(::testing::Message() << wait << (finds_it_asleep ? ", asleep" : ", queued before"));
      StopFlag handler;
      const Recorder wake_up(kWakeUpClass, kWakeUpKind);
      const Recorder other_kind(kWakeUpClass, 7);
      const Recorder look_alike(kTestClass, kWakeUpKind);
      const Recorder stop(kStopKind, [&](auto*) { handler.stop = true; });
      const auto post = [] {
        LEventQueuePost(kWakeUpClass, kWakeUpKind, platform::kStandardPriority);
        LEventQueuePost(kWakeUpClass, 7, platform::kStandardPriority);
        PostTest(kWakeUpKind);
        PostTest(kStopKind);
      };
      if (!finds_it_asleep) post();
      const Later later(20, [&] {
        if (finds_it_asleep) post();
      });
      EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
      const bool swallows = wait == Wait::kSignal || wait == Wait::kSignalForever;
      EXPECT_EQ(wake_up.Count(), swallows ? 0 : 1);
      EXPECT_EQ(other_kind.Count(), swallows ? 0 : 1);
      EXPECT_EQ(look_alike.Count(), 1);
      EXPECT_EQ(LEventQueueCount(), 0u);
    }
  }
}

TEST_F(ProcessEventsQueue, OtherReceiversDispatchWakeUps) {
  const Recorder wake_up(kWakeUpClass, kWakeUpKind);
  int expected = 0;
  for (bool (*receive)() : {&LProcessClearEventQueue, &LProcessClearCurrentEvents, &LEventQueueDrain}) {
    LEventQueuePost(kWakeUpClass, kWakeUpKind, platform::kStandardPriority);
    EXPECT_TRUE(receive());
    EXPECT_EQ(wake_up.Count(), ++expected);
  }
}

TEST_F(ProcessEventsQueue, AWakeUpThatIsLeftHoldsTheDescriptorAndIsDispatchedLater) {
  std::vector<int> descriptors;
  const Recorder wake_up(kWakeUpClass, kWakeUpKind, [&](platform::Event* event) {
    int descriptor = -1;
    EXPECT_TRUE(platform::GetEventParameter(event, core::FourCharacterCode("LSso"), core::FourCharacterCode("long"), 4,
                                            &descriptor));
    descriptors.push_back(descriptor);
  });
  {
    const Later later(30, [&] { signal_.Signal(); });
    EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, kLongMs), 0);
  }
  EXPECT_TRUE(descriptors.empty());
  EXPECT_EQ(LEventQueueCount(), 1u);
  EXPECT_TRUE(LProcessClearCurrentEvents());
  EXPECT_EQ(descriptors, std::vector<int>{signal_.filedes[0]});
}

// An earlier wait's wake-up must not be taken for the next wait's signal.
TEST_F(ProcessEventsQueue, AWakeUpIsNoSignal) {
  LEventQueuePost(kWakeUpClass, kWakeUpKind, platform::kStandardPriority);
  const Stopwatch watch;
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, 50), 2);
  EXPECT_GE(watch.Ms() + 1, 50);
}

TEST_F(ProcessEventsQueue, TheReadCallBackPostsOneWakeUpOfStandardPriority) {
  PostTest(1, platform::kStandardPriority);
  LProcessEventsHandler::SocketCallBack(nullptr, 1, nullptr, nullptr, nullptr);
  PostTest(2, platform::kStandardPriority);
  PostTest(3, platform::kLowPriority);
  EXPECT_EQ(ReceiveKinds(), (Kinds{1, static_cast<int>(kWakeUpKind), 2, 3}));
}

TEST_F(ProcessEventsQueue, TheCodesAreWrittenFromTheMostSignificantByte) {
  EXPECT_EQ(kWakeUpClass, 0x4C536E63u);
  EXPECT_EQ(kWakeUpKind, 0x4C536E6Bu);
  EXPECT_EQ(core::kWakeUpDescriptor, 0x4C53736Fu);
  EXPECT_EQ(core::kTypeLong, 0x6C6F6E67u);
  EXPECT_EQ(kMarker, 0x506C6163u);
}

// --- The run loop is told to quit ---

TEST_F(ProcessEventsQueue, AQuitEndsOneTimedWaitForASignal) {
  const Recorder quit(kSomeKind, [](auto*) { EXPECT_TRUE(platform::StopRunLoop()); });
  PostTest(kSomeKind);
  const Stopwatch watch;
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, kLongMs), 2);
  EXPECT_LT(watch.Ms(), kSoonMs);
  const Stopwatch second;
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, 40), 2);
  EXPECT_GE(second.Ms() + 1, 40);
}

TEST_F(ProcessEventsQueue, AQuitOfAnotherThreadWakesTheWait) {
  bool was_running = false;
  const Stopwatch watch;
  const Later later(50, [&] { was_running = platform::StopRunLoop(); });
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, kLongMs), 2);
  EXPECT_GE(watch.Ms(), 50);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(ProcessEventsQueue, AQuitEndsNoOtherWait) {
  for (const Wait wait : kWaits) {
    if (wait == Wait::kSignal) continue;
    SCOPED_TRACE(wait);
    StopFlag handler;
    const Recorder quit(kSomeKind, [](auto*) { EXPECT_TRUE(platform::StopRunLoop()); });
    const Recorder stop(kStopKind, [&](auto*) { handler.stop = true; });
    PostTest(kSomeKind);
    const Stopwatch watch;
    const Later later(50, [] { PostTest(kStopKind); });
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_GE(watch.Ms(), 50);
  }
}

TEST_F(ProcessEventsQueue, AQuitIsForTheInnermostWait) {
  StopFlag inner_handler;
  int inner_result = -1;
  const Recorder quit(kStopKind, [](auto*) { platform::StopRunLoop(); });
  const Recorder nest(kSomeKind, [&](auto*) {
    PostTest(kStopKind);
    inner_result = inner_handler.ProcessWaitSignalAndProcessEvents(signal_, kLongMs);
    handler_.stop = true;
  });
  PostTest(kSomeKind);
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, kLongMs), 1);
  EXPECT_EQ(inner_result, 2);
}

// Who only looks into the queue does not take the request away from the wait around it.
TEST_F(ProcessEventsQueue, AQuitIsLeftToTheWaitByWhatDoesNotWait) {
  for (bool (*receive)() : {&LProcessClearEventQueue, &LProcessClearCurrentEvents, &LEventQueueDrain}) {
    int looks = 0;
    const Recorder quit(kSomeKind, [&](auto*) {
      EXPECT_TRUE(platform::StopRunLoop());
      PostTest(kSomeKind + 1);
      looks += receive() ? 1 : 0;
    });
    const Recorder other(kSomeKind + 1);
    PostTest(kSomeKind);
    const Stopwatch watch;
    EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, kLongMs), 2);
    EXPECT_LT(watch.Ms(), kSoonMs);
    EXPECT_EQ(looks, 1);
    EXPECT_EQ(other.Count(), 1);
    EXPECT_EQ(LEventQueueCount(), 0u);
  }
}

TEST_F(ProcessEventsQueue, AWaitIsARunLoopAsLongAsItRuns) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    EXPECT_FALSE(platform::HasRunLoop());
    EXPECT_FALSE(platform::StopRunLoop());
    StopFlag handler;
    const Recorder look(kSomeKind, [&](auto*) {
      EXPECT_TRUE(platform::HasRunLoop());
      handler.stop = true;
    });
    PostTest(kSomeKind);
    EXPECT_EQ(RunWait(wait, handler, signal_, kLongMs), 1);
    EXPECT_EQ(look.Count(), 1);
  }
  EXPECT_FALSE(platform::HasRunLoop());
}

// A request that came too late for its wait is not for the next one.
TEST_F(ProcessEventsQueue, AQuitThatNobodyTookIsForgotten) {
  const Recorder quit_and_stop(kSomeKind, [&](auto*) {
    platform::StopRunLoop();
    handler_.stop = true;
  });
  PostTest(kSomeKind);
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, kLongMs), 1);
  handler_.stop = false;
  const Stopwatch watch;
  EXPECT_EQ(handler_.ProcessWaitSignalAndProcessEvents(signal_, 40), 2);
  EXPECT_GE(watch.Ms() + 1, 40);
}

// --- Clearing the queue ---

/// Posts `more` events at each dispatch, as long as `left` of them remain.
struct Poster {
  int more;
  int left;
  void operator()(platform::Event*) {
    for (int i = 0; i < more && left > 0; ++i, --left) PostTest(kSomeKind);
  }
};

TEST_F(ProcessEventsQueue, ClearingMakesFourAttemptsAtMostAndThenOneMoreThanIsQueued) {
  struct Case {
    int queued;
    int more;  // what each dispatch posts
    int dispatched;
    unsigned int left;
  };
  // With n queued and k posted by each: f = min(n + 1, 4) attempts, m = n + f(k - 1) by then, m + 1 further ones.
  for (const auto& [queued, more, dispatched, left] :
       {Case{0, 0, 0, 0}, Case{1, 0, 1, 0}, Case{3, 0, 3, 0}, Case{4, 0, 4, 0}, Case{5, 0, 5, 0}, Case{50, 0, 50, 0},
        Case{1, 1, 4, 1}, Case{2, 1, 6, 2}, Case{3, 1, 8, 3}, Case{4, 1, 9, 4}, Case{5, 1, 10, 5}, Case{20, 1, 25, 20},
        Case{1, 2, 6, 7}, Case{3, 2, 12, 15}, Case{4, 2, 13, 17}}) {
    SCOPED_TRACE(::testing::Message() << queued << " queued, each posts " << more);
    const Recorder some(kSomeKind, Poster{more, 1000});
    for (int i = 0; i < queued; ++i) PostTest(kSomeKind);
    EXPECT_EQ(LProcessClearEventQueue(), dispatched > 0);
    EXPECT_EQ(some.Count(), dispatched);
    EXPECT_EQ(LEventQueueCount(), left);
    support::EmptyQueue();
  }
}

// An attempt that finds nothing is an attempt all the same.
TEST_F(ProcessEventsQueue, ClearingCountsAnewBeforeItsSecondPass) {
  const Recorder some(kSomeKind, Poster{10, 10});
  PostTest(kSomeKind);
  EXPECT_TRUE(LProcessEventsHandler::ClearEventQueue());
  // Two attempts, which find the first and one of its ten, then nine and one in vain.
  EXPECT_EQ(some.Count(), 11);
  EXPECT_EQ(LEventQueueCount(), 0u);
  EXPECT_FALSE(LProcessEventsHandler::ClearEventQueue());
}

TEST_F(ProcessEventsQueue, ClearingDoesNotWait) {
  const Stopwatch watch;
  EXPECT_FALSE(LProcessClearEventQueue());
  EXPECT_FALSE(LProcessClearCurrentEvents());
  EXPECT_LT(watch.Ms(), support::kAtOnceMs);
}

TEST_F(ProcessEventsQueue, ClearingCurrentEventsOfAnEmptyQueueTakesOnlyItsMarker) {
  const Recorder marker(kMarker, kMarker);
  EXPECT_FALSE(LProcessClearCurrentEvents());
  EXPECT_EQ(marker.Count(), 0);
  EXPECT_EQ(LEventQueueCount(), 0u);
}

TEST_F(ProcessEventsQueue, ClearingCurrentEventsEndsAtItsMarker) {
  const Recorder some(kSomeKind, [](auto*) { PostTest(kSomeKind + 1); });
  for (int i = 0; i < 7; ++i) PostTest(kSomeKind);
  EXPECT_TRUE(LProcessClearCurrentEvents());
  EXPECT_EQ(some.Count(), 7);
  EXPECT_EQ(ReceiveKinds(), Kinds(7, kSomeKind + 1));
}

TEST_F(ProcessEventsQueue, ClearingCurrentEventsTakesHighPriorityOnesThatArriveMeanwhile) {
  int more = 3;
  const Recorder high(kSomeKind + 1, [&](auto*) {
    if (more-- > 0) PostTest(kSomeKind + 1, platform::kHighPriority);
  });
  const Recorder some(kSomeKind, [](auto*) { PostTest(kSomeKind + 1, platform::kHighPriority); });
  PostTest(kSomeKind);
  EXPECT_TRUE(LProcessClearCurrentEvents());
  EXPECT_EQ(some.Count(), 1);
  EXPECT_EQ(high.Count(), 4);
  EXPECT_EQ(LEventQueueCount(), 0u);
}

TEST_F(ProcessEventsQueue, ClearingCurrentEventsLeavesLowPriorityOnesBehindItsMarker) {
  const Recorder some(kSomeKind);
  PostTest(kSomeKind, platform::kLowPriority);
  EXPECT_FALSE(LProcessClearCurrentEvents());
  EXPECT_EQ(some.Count(), 0);
  EXPECT_EQ(ReceiveKinds(), Kinds{kSomeKind});
}

// Any event of the marker's class ends it; its own marker is then an event like others.
TEST_F(ProcessEventsQueue, ClearingCurrentEventsTakesAnyMarkerForItsOwn) {
  const Recorder marker(kMarker, kMarker);
  const Recorder some(kSomeKind);
  LEventQueuePost(kMarker, 7, platform::kStandardPriority);
  PostTest(kSomeKind);
  EXPECT_FALSE(LProcessClearCurrentEvents());
  EXPECT_EQ(some.Count(), 0);
  EXPECT_EQ(LEventQueueCount(), 2u);
  EXPECT_TRUE(LProcessClearEventQueue());
  EXPECT_EQ(marker.Count(), 1);
}

TEST_F(ProcessEventsQueue, ClearingNestsInHandlers) {
  bool inner_result = true;
  const Recorder nest(kSomeKind, [&](auto*) { inner_result = LProcessClearCurrentEvents(); });
  const Recorder other(kSomeKind + 1);
  PostTest(kSomeKind);
  PostTest(kSomeKind + 1);
  EXPECT_TRUE(LProcessClearCurrentEvents());
  // The inner one dispatched the other event up to the outer one's marker, the outer one then found the inner's.
  EXPECT_TRUE(inner_result);
  EXPECT_EQ(other.Count(), 1);
  EXPECT_EQ(LEventQueueCount(), 0u);
}

}  // namespace
