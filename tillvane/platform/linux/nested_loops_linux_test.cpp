// Loops in loops: which of them an event, a stop or a wake-up belongs to.

#include <glib-unix.h>
#include <glib.h>
#include <poll.h>

#include <algorithm>
#include <ctime>
#include <functional>
#include <utility>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tests/support/glib_sources.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/platform/run_loop.h>

namespace {

using support::kAtOnceMs;
using support::PostTest;
using support::Recorder;
using support::StopFlag;
using support::Stopwatch;

class NestedLoops : public support::QueueTest {
 protected:
  /// Runs `function` once, from a source of the host's with this priority that is ready after `ms`.
  static void Once(int ms, std::function<void()> function, int priority = G_PRIORITY_DEFAULT) {
    g_timeout_add_full(
        priority, static_cast<guint>(ms),
        [](gpointer data) -> gboolean {
          (*static_cast<std::function<void()>*>(data))();
          return G_SOURCE_REMOVE;
        },
        new std::function<void()>(std::move(function)),
        [](gpointer data) { delete static_cast<std::function<void()>*>(data); });
  }

  static double ProcessorMs() { return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

  /// Runs the host's own loop until `function`, called after `ms`, is done.
  static void RunHostLoop(int ms, const std::function<void()>& function) {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    Once(ms, [&] {
      function();
      g_main_loop_quit(loop);
    });
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
  }
};

// GLib has found the queue's source ready already when a source that goes first begins a wait.
TEST_F(NestedLoops, AWaitThatGoesBeforeTheQueueGetsTheEvents) {
  const Recorder recorder(3);
  struct Waiter {
    LSignalObject wakes;
    int answer = -1;
    long long ms = 0;
  } waiter;
  const auto wait = [](gint, GIOCondition, gpointer data) -> gboolean {
    auto* const self = static_cast<Waiter*>(data);
    const Stopwatch watch;
    self->answer = ProcessWaitAndProcessEvents(1000);
    self->ms = watch.Ms();
    return G_SOURCE_REMOVE;
  };
  g_unix_fd_add_full(G_PRIORITY_HIGH, waiter.wakes.filedes[0], G_IO_IN, wait, &waiter, nullptr);
  waiter.wakes.Signal();
  PostTest(3);
  RunHostLoop(10, [] {});
  EXPECT_EQ(recorder.Count(), 1);
  EXPECT_EQ(waiter.answer, 1);
  EXPECT_LT(waiter.ms, 900);
}

TEST_F(NestedLoops, LookingAtTheQueueLeavesAStopToTheWaitAroundIt) {
  const Recorder inner(2);
  const Recorder marker(core::kMarker, core::kMarker);
  bool cleared = false;
  const Recorder outer(1, [&](auto*) {
    PostTest(2);
    platform::StopRunLoop();
    cleared = LProcessClearCurrentEvents();
  });
  PostTest(1);
  StopFlag handler;
  const LSignalObject signal;
  const Stopwatch watch;
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, support::kLongMs), 2);
  EXPECT_LT(watch.Ms(), kAtOnceMs);
  EXPECT_TRUE(cleared);
  EXPECT_EQ(inner.Count(), 1);
  EXPECT_EQ(marker.Count(), 0);
  EXPECT_EQ(LEventQueueCount(), 0U);
}

// The outer wait's object stays signalled all the time that a loop inside runs.
TEST_F(NestedLoops, AnOuterWaitsSignalDoesNotKeepAnInnerLoopBusy) {
  const LSignalObject outer;
  const LSignalObject inner;
  double in_wait = 0;
  double in_loop = 0;
  Once(10, [&] {
    outer.Signal();
    StopFlag handler;
    const double before = ProcessorMs();
    EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(inner, 300), 2);
    in_wait = ProcessorMs() - before;
    RunHostLoop(300, [] {});
    in_loop = ProcessorMs() - before - in_wait;
  });
  StopFlag handler;
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(outer, support::kLongMs), 0);
  EXPECT_LT(in_wait, 60);
  EXPECT_LT(in_loop, 60);
}

TEST_F(NestedLoops, AfterALoopInsideTheWatchWakesAgain) {
  const LSignalObject signal;
  Once(10, [&] {
    signal.Signal();
    StopFlag handler;
    EXPECT_EQ(handler.ProcessWaitAndProcessEvents(50), 0);
    LSignalObjectRef(signal).Reset();
    Once(30, [&] { signal.Signal(); });
  });
  StopFlag handler;
  const Stopwatch watch;
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, support::kLongMs), 0);
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST_F(NestedLoops, AStopThatAWaitDidNotTakeIsForTheBracketAroundIt) {
  const int descriptor = LEventQueueDescriptor();
  ASSERT_GE(descriptor, 0);
  int stops = 0;
  platform::EnterRunLoop([](void* data) { ++*static_cast<int*>(data); }, &stops);
  {
    const platform::RunLoopScope wait;
    EXPECT_TRUE(platform::StopRunLoop());
    // What a wait does between the request and its end.
    EXPECT_EQ(support::ReceiveKind(), -1);
  }
  pollfd polled{descriptor, POLLIN, 0};
  EXPECT_EQ(poll(&polled, 1, 1000), 1);
  LEventQueueDrain();
  platform::LeaveRunLoop();
  EXPECT_EQ(stops, 1);
}

// With a slow handler the host's own sources still come to their turn between two events.
TEST_F(NestedLoops, SlowHandlersDoNotKeepTheHostsSourcesWaiting) {
  long long longest = 0;
  Stopwatch since;
  const support::HostSource ticker(5, [&] {
    longest = std::max(longest, since.Ms());
    since = Stopwatch();
  });
  const Recorder quick(1);
  const Recorder slow(2, [](auto*) { support::SleepMs(60); });
  for (int i = 0; i < 50; ++i) PostTest(1);
  for (int i = 0; i < 20; ++i) PostTest(2);
  StopFlag handler;
  since = Stopwatch();
  EXPECT_EQ(handler.ProcessWaitAndProcessEvents(900), 0);
  EXPECT_GT(slow.Count(), 5);
  // Twenty slow ones would take 1200 ms.
  EXPECT_LT(longest, 400);
}

}  // namespace
