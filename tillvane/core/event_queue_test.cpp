#include <fcntl.h>
#include <poll.h>

#include <climits>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/platform/run_loop.h>

namespace {

using support::kLongMs;
using support::kTestClass;
using support::PostTest;
using support::ReceiveKind;
using support::ReceiveKinds;
using support::Recorder;
using support::StopFlag;

using Kinds = std::vector<int>;

bool IsReadable(int descriptor, int ms = 0) {
  pollfd polled{descriptor, POLLIN, 0};
  return poll(&polled, 1, ms) == 1 && polled.revents == POLLIN;
}

class EventQueue : public support::QueueTest {};

// --- Posting ---

TEST_F(EventQueue, PostingTakesThreePriorities) {
  for (const int priority : {0, 1, 2}) EXPECT_TRUE(LEventQueuePost(kTestClass, 1, priority)) << priority;
  EXPECT_EQ(LEventQueueCount(), 3u);
  for (const int priority : {-1, 3, INT_MIN, INT_MAX}) {
    EXPECT_FALSE(LEventQueuePost(kTestClass, 1, priority)) << priority;
  }
  EXPECT_EQ(LEventQueueCount(), 3u);
}

TEST_F(EventQueue, APostedEventHasItsClassAndKind) {
  ASSERT_TRUE(LEventQueuePost(0xFEDCBA98, 0x89ABCDEF, 1));
  platform::Event* event = nullptr;
  ASSERT_EQ(platform::ReceiveEvent(0, &event), platform::Received::kEvent);
  EXPECT_EQ(platform::EventClass(event), 0xFEDCBA98u);
  EXPECT_EQ(platform::EventKind(event), 0x89ABCDEFu);
  platform::ReleaseEvent(event);
}

TEST_F(EventQueue, HigherPrioritiesGoFirstAndEqualOnesInTheirOrder) {
  const int priorities[] = {1, 0, 2, 1, 2, 0, 0, 1, 2};
  for (int i = 0; i < 9; ++i) PostTest(static_cast<unsigned int>(i), priorities[i]);
  EXPECT_EQ(ReceiveKinds(), (Kinds{2, 4, 8, 0, 3, 7, 1, 5, 6}));
}

TEST_F(EventQueue, AHigherPriorityOvertakesWhatWasQueuedBefore) {
  PostTest(1);
  PostTest(2);
  EXPECT_EQ(ReceiveKind(), 1);
  PostTest(3, 0);
  PostTest(4, 2);
  PostTest(5);
  EXPECT_EQ(ReceiveKind(), 4);
  PostTest(6, 2);
  EXPECT_EQ(ReceiveKinds(), (Kinds{6, 2, 5, 3}));
}

TEST_F(EventQueue, CountsFromAnyThread) {
  unsigned int count = 99;
  for (unsigned int expected = 0; expected < 4; ++expected) {
    std::thread([&] { count = LEventQueueCount(); }).join();
    EXPECT_EQ(count, expected);
    EXPECT_EQ(LEventQueueCount(), expected);
    PostTest(expected, static_cast<int>(expected % 3));
  }
}

// --- Draining ---

TEST_F(EventQueue, DrainingDispatchesWhatIsQueuedNow) {
  Kinds order;
  const Recorder first(1, [&](auto*) {
    order.push_back(1);
    PostTest(2);
  });
  const Recorder second(2, [&](auto*) { order.push_back(2); });
  EXPECT_FALSE(LEventQueueDrain());
  PostTest(1);
  PostTest(1);
  EXPECT_TRUE(LEventQueueDrain());
  EXPECT_EQ(order, (Kinds{1, 1}));
  EXPECT_EQ(LEventQueueCount(), 2u);
  EXPECT_TRUE(LEventQueueDrain());
  EXPECT_EQ(order, (Kinds{1, 1, 2, 2}));
  EXPECT_FALSE(LEventQueueDrain());
}

TEST_F(EventQueue, DrainingIsTrueForAnEventThatNobodyHandles) {
  PostTest(1);
  EXPECT_TRUE(LEventQueueDrain());
  EXPECT_EQ(LEventQueueCount(), 0u);
}

TEST_F(EventQueue, AHandlerMayReceiveWhatTheDrainWouldHave) {
  Kinds received;
  const Recorder greedy(1, [&](auto*) { received = ReceiveKinds(); });
  const Recorder second(2);
  PostTest(1);
  PostTest(2);
  PostTest(3);
  EXPECT_TRUE(LEventQueueDrain());
  EXPECT_EQ(received, (Kinds{2, 3}));
  EXPECT_EQ(second.Count(), 0);
}

TEST_F(EventQueue, DrainingOnAnotherThreadDoesNothing) {
  const Recorder some(1);
  PostTest(1);
  bool result = true;
  std::thread([&] { result = LEventQueueDrain(); }).join();
  EXPECT_FALSE(result);
  EXPECT_EQ(some.Count(), 0);
  EXPECT_EQ(LEventQueueCount(), 1u);
}

// --- The descriptor ---

TEST_F(EventQueue, TheDescriptorIsOneForAllAndClosedOnExec) {
  const int descriptor = LEventQueueDescriptor();
  ASSERT_GE(descriptor, 0);
  EXPECT_EQ(LEventQueueDescriptor(), descriptor);
  EXPECT_TRUE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
  EXPECT_TRUE(fcntl(descriptor, F_GETFL) & O_NONBLOCK);
  int of_thread = -1;
  std::thread([&] { of_thread = LEventQueueDescriptor(); }).join();
  EXPECT_EQ(of_thread, descriptor);
}

TEST_F(EventQueue, TheDescriptorIsReadableWhileSomethingIsQueued) {
  const int descriptor = LEventQueueDescriptor();
  struct Step {
    const char* name;
    std::function<void()> step;
    bool expected;
  };
  const auto post = [] { PostTest(1); };
  const auto receive = [] { ReceiveKind(); };
  const auto drain = [] { LEventQueueDrain(); };
  const Step steps[] = {
      {"nothing yet", [] {}, false},
      {"posted", post, true},
      {"received", receive, false},
      {"received nothing", receive, false},
      {"posted", post, true},
      {"posted a second", post, true},
      {"received one of two", receive, true},
      {"posted", post, true},
      {"received one of two", receive, true},
      {"received the last", receive, false},
      {"posted on another thread", [] { std::thread([] { PostTest(1); }).join(); }, true},
      {"drained", drain, false},
      {"drained nothing", drain, false},
      {"posted low", [] { PostTest(1, 0); }, true},
      {"flushed", [] { support::EmptyQueue(); }, false},
      {"posted", post, true},
      {"cleared", [] { LProcessClearEventQueue(); }, false},
      {"cleared nothing", [] { LProcessClearCurrentEvents(); }, false},
      {"posted", post, true},
      {"paused", [] { ProcessWaitAndProcessEvents(5); }, false},
      {"paused for nothing", [] { ProcessWaitAndProcessEvents(5); }, false},
      {"refused", [] { LEventQueuePost(kTestClass, 1, 3); }, false},
  };
  for (const Step& step : steps) {
    step.step();
    EXPECT_EQ(IsReadable(descriptor), step.expected) << step.name;
    EXPECT_EQ(IsReadable(descriptor), step.expected) << step.name << ", asked again";
  }
}

TEST_F(EventQueue, TheDescriptorStaysReadableForWhatHandlersPost) {
  const int descriptor = LEventQueueDescriptor();
  const Recorder first(1, [](auto*) { PostTest(2); });
  PostTest(1);
  LEventQueueDrain();
  EXPECT_TRUE(IsReadable(descriptor));
  LEventQueueDrain();
  EXPECT_FALSE(IsReadable(descriptor));
}

TEST_F(EventQueue, TheDescriptorMissesNoPostOfManyThreads) {
  constexpr int kThreads = 4;
  constexpr int kEach = 500;
  const int descriptor = LEventQueueDescriptor();
  const Recorder some(1);
  std::vector<std::thread> posters;
  for (int i = 0; i < kThreads; ++i) {
    posters.emplace_back([] {
      for (int k = 0; k < kEach; ++k) PostTest(1, k % 3);
    });
  }
  while (some.Count() < kThreads * kEach) {
    const bool is_readable = IsReadable(descriptor, static_cast<int>(kLongMs));
    EXPECT_TRUE(is_readable) << some.Count() << " dispatched, " << LEventQueueCount() << " queued";
    if (!is_readable) break;
    LEventQueueDrain();
  }
  for (auto& poster : posters) poster.join();
  EXPECT_EQ(some.Count(), kThreads * kEach);
  EXPECT_FALSE(IsReadable(descriptor));
}

// --- Brackets ---

/// Counts calls of a bracket's `stop`.
void CountCall(void* data) { ++*static_cast<int*>(data); }

class RunLoopBracket : public support::QueueTest {
 protected:
  ~RunLoopBracket() override {
    while (platform::HasRunLoop()) LRunLoopLeave();
  }
};

TEST_F(RunLoopBracket, StopIsCalledFromTheLoopAndNotByTheRequest) {
  const int descriptor = LEventQueueDescriptor();
  int calls = 0;
  EXPECT_FALSE(platform::StopRunLoop());
  LRunLoopEnter(&CountCall, &calls);
  EXPECT_TRUE(platform::HasRunLoop());
  EXPECT_FALSE(IsReadable(descriptor));
  EXPECT_TRUE(platform::StopRunLoop());
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(IsReadable(descriptor));
  EXPECT_FALSE(LEventQueueDrain());
  EXPECT_EQ(calls, 1);
  EXPECT_FALSE(IsReadable(descriptor));
  LEventQueueDrain();
  EXPECT_EQ(calls, 1);
  LRunLoopLeave();
  EXPECT_FALSE(platform::HasRunLoop());
}

TEST_F(RunLoopBracket, ARequestWhileEventsAreQueuedIsSeenToo) {
  int calls = 0;
  const Recorder stop(1, [](auto*) { platform::StopRunLoop(); });
  LRunLoopEnter(&CountCall, &calls);
  PostTest(1);
  EXPECT_TRUE(LEventQueueDrain());
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(IsReadable(LEventQueueDescriptor()));
  LEventQueueDrain();
  EXPECT_EQ(calls, 1);
}

TEST_F(RunLoopBracket, TheInnermostIsStopped) {
  int outer = 0;
  int inner = 0;
  LRunLoopEnter(&CountCall, &outer);
  LRunLoopEnter(&CountCall, &inner);
  platform::StopRunLoop();
  LEventQueueDrain();
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(outer, 0);
  LRunLoopLeave();
  platform::StopRunLoop();
  LEventQueueDrain();
  EXPECT_EQ(inner, 1);
  EXPECT_EQ(outer, 1);
}

TEST_F(RunLoopBracket, NeedsNoStop) {
  LRunLoopEnter(nullptr, nullptr);
  EXPECT_TRUE(platform::StopRunLoop());
  EXPECT_FALSE(LEventQueueDrain());
  LRunLoopLeave();
}

TEST_F(RunLoopBracket, LeavingWithoutEnteringDoesNothing) {
  LRunLoopLeave();
  EXPECT_FALSE(platform::HasRunLoop());
  int calls = 0;
  LRunLoopEnter(&CountCall, &calls);
  platform::StopRunLoop();
  LEventQueueDrain();
  EXPECT_EQ(calls, 1);
}

TEST_F(RunLoopBracket, ARequestThatNobodyTookIsForgotten) {
  int calls = 0;
  LRunLoopEnter(&CountCall, &calls);
  platform::StopRunLoop();
  LRunLoopLeave();
  LRunLoopEnter(&CountCall, &calls);
  LEventQueueDrain();
  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(IsReadable(LEventQueueDescriptor()));
}

TEST_F(RunLoopBracket, AWaitInsideTakesTheRequestForItself) {
  int calls = 0;
  StopFlag handler;
  const LSignalObject signal;
  const Recorder stop(1, [](auto*) { platform::StopRunLoop(); });
  LRunLoopEnter(&CountCall, &calls);
  PostTest(1);
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, kLongMs), 2);
  LEventQueueDrain();
  EXPECT_EQ(calls, 0);
  EXPECT_TRUE(platform::HasRunLoop());
  platform::StopRunLoop();
  LEventQueueDrain();
  EXPECT_EQ(calls, 1);
}

TEST_F(RunLoopBracket, AWaitThatBeginsBeforeTheBracketCameRoundTakesTheRequest) {
  int calls = 0;
  StopFlag handler;
  const LSignalObject signal;
  LRunLoopEnter(&CountCall, &calls);
  platform::StopRunLoop();
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, kLongMs), 2);
  LEventQueueDrain();
  EXPECT_EQ(calls, 0);
}

TEST_F(RunLoopBracket, ABracketInsideAWaitTakesTheRequestForItself) {
  int calls = 0;
  StopFlag handler;
  const LSignalObject signal;
  const Recorder nest(1, [&](auto*) {
    LRunLoopEnter(&CountCall, &calls);
    platform::StopRunLoop();
    LEventQueueDrain();
    LRunLoopLeave();
  });
  const Recorder end(2, [&](auto*) { handler.stop = true; });
  PostTest(1);
  const support::Later later(30, [] { PostTest(2); });
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, kLongMs), 1);
  EXPECT_EQ(calls, 1);
}

// What the inner loop was asked and did not come round to is asked of the one around it.
TEST_F(RunLoopBracket, ARequestThatTheInnerLoopDidNotTakeIsForTheOuterOne) {
  int inner = 0;
  int outer = 0;
  StopFlag handler;
  const LSignalObject signal;
  const Recorder nest(1, [&](auto*) {
    LRunLoopEnter(&CountCall, &inner);
    platform::StopRunLoop();
    LRunLoopLeave();
  });
  PostTest(1);
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, kLongMs), 2);
  LRunLoopEnter(&CountCall, &outer);
  LRunLoopEnter(&CountCall, &inner);
  platform::StopRunLoop();
  LRunLoopLeave();
  EXPECT_TRUE(IsReadable(LEventQueueDescriptor()));
  LEventQueueDrain();
  EXPECT_EQ(outer, 1);
  EXPECT_EQ(inner, 0);
}

// A Leave too many, inside a wait, must not end the wait's own run loop.
TEST_F(RunLoopBracket, LeavingInsideAWaitLeavesTheWaitAlone) {
  StopFlag handler;
  const LSignalObject signal;
  const Recorder leave(1, [](auto*) {
    LRunLoopLeave();
    EXPECT_TRUE(platform::StopRunLoop());
  });
  PostTest(1);
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, kLongMs), 2);
}

}  // namespace
