// The waits under a clock that never stands still, and the event queue where the system gives it no descriptor. The
// definitions here take the place of the C library's for everything that is linked into this program.

#include <sys/eventfd.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <utility>

#include <gtest/gtest.h>

#include <tests/support/dispatch.h>
#include <tests/support/events.h>
#include <tests/support/faults.h>
#include <tests/support/glib_sources.h>
#include <tests/support/next_definition.h>
#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/LThreadRunOnMainThread.h>
#include <tillvane/platform/run_loop.h>

namespace {

/// Added to the clock each time it is read, and the sum so far. Milliseconds; 0 leaves the clock alone.
long long each_reading = 0;
long long added = 0;

/// Called once when this thread writes to a descriptor.
thread_local std::function<void()>* on_write = nullptr;

}  // namespace

extern "C" {

int gettimeofday(timeval* now, void* zone) noexcept {
  static const auto next = support::Next(&gettimeofday, "gettimeofday");
  const int result = next(now, zone);
  if (each_reading == 0) return result;
  now->tv_sec += added / 1000;
  now->tv_usec += added % 1000 * 1000;
  if (now->tv_usec >= 1000000) {
    now->tv_usec -= 1000000;
    ++now->tv_sec;
  }
  added += each_reading;
  return result;
}

// Visible: for GLib too.
[[gnu::visibility("default")]] ssize_t write(int descriptor, const void* bytes, size_t size) {
  static const auto next = support::Next(&write, "write");
  if (on_write != nullptr) (*std::exchange(on_write, nullptr))();
  return next(descriptor, bytes, size);
}

int eventfd(unsigned int, int) noexcept { return support::FailNoted(EMFILE); }

}  // extern "C"

namespace {

using support::kLongMs;
using support::kSoonMs;
using support::kWaits;
using support::Later;
using support::PostTest;
using support::Recorder;
using support::RunWait;
using support::StopFlag;
using support::Stopwatch;
using support::Wait;

/// The time is counted from the one reading at the start: the first look around happens before any time has passed.
class RestlessClock : public support::QueueTest {
 protected:
  RestlessClock() { each_reading = 1; }
  ~RestlessClock() override { each_reading = added = 0; }
};

TEST_F(RestlessClock, AWaitOfAMillisecondSeesAnObjectThatIsSignalledAlready) {
  const LSignalObject signal;
  signal.Signal();
  StopFlag handler;
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, 1), 0);
}

TEST_F(RestlessClock, APauseOfAMillisecondReceivesOnce) {
  const Recorder some(1);
  PostTest(1);
  StopFlag handler;
  EXPECT_EQ(handler.ProcessWaitAndProcessEvents(1), 0);
  EXPECT_EQ(some.Count(), 1);
}

TEST_F(RestlessClock, APauseOfMoreThan31BitsEndsAtOnce) {
  StopFlag handler;
  const Recorder stop(1, [&](auto*) { handler.stop = true; });
  PostTest(1);
  EXPECT_EQ(handler.ProcessWaitAndProcessEvents(0x80000000), 0);
  EXPECT_EQ(stop.Count(), 0);
}

TEST_F(RestlessClock, TimePassesByTheClock) {
  each_reading = 1000;
  StopFlag handler;
  const LSignalObject signal;
  const Stopwatch watch;
  const Recorder some(1, [](auto*) { PostTest(1); });
  PostTest(1);
  EXPECT_EQ(handler.ProcessWaitAndProcessEvents(5000), 0);
  EXPECT_EQ(some.Count(), 5);
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, 5000), 2);
  EXPECT_EQ(some.Count(), 10);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

// There is no descriptor to poll; everything else goes on.
class NoEventDescriptor : public support::QueueTest {};

TEST_F(NoEventDescriptor, AHostIsToldSo) {
  EXPECT_EQ(LEventQueueDescriptor(), -1);
  EXPECT_EQ(LEventQueueDescriptor(), -1);
}

TEST_F(NoEventDescriptor, EventsAreQueuedAndDrained) {
  const Recorder some(1);
  EXPECT_FALSE(LEventQueueDrain());
  PostTest(1);
  EXPECT_EQ(LEventQueueCount(), 1u);
  EXPECT_TRUE(LEventQueueDrain());
  EXPECT_EQ(some.Count(), 1);
}

TEST_F(NoEventDescriptor, AnEventOfAnotherThreadWakesEveryWait) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    StopFlag handler;
    const LSignalObject signal;
    const Recorder stop(1, [&](auto*) { handler.stop = true; });
    const Stopwatch watch;
    const Later later(30, [] { PostTest(1); });
    EXPECT_EQ(RunWait(wait, handler, signal, kLongMs), 1);
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

// GLib writes to a descriptor of its own, and there threads usually end.
TEST_F(NoEventDescriptor, AThreadThatIsToEndWakesTheWaitBeforeItDoes) {
  StopFlag handler;
  const Recorder stop(1, [&](auto*) { handler.stop = true; });
  bool passed = false;
  const Stopwatch watch;
  {
    const Later later(30, [&] { passed = support::PassesWhileCancelled([] { PostTest(1); }); });
    EXPECT_EQ(handler.ProcessWaitAndProcessEvents(kLongMs), 1);
  }
  EXPECT_TRUE(passed);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(NoEventDescriptor, WorkIsCountedBeforeAnybodyIsWoken) {
  LThreadRunOnMainThread::Init();
  LThreadRunOnMainThread sender;
  StopFlag handler;
  int count = -1;
  {
    const Later later(30, [&] {
      std::function<void()> look = [&] { count = sender.GetRefCount(); };
      on_write = &look;
      sender.RunOnMainThread(new support::Work([&] { handler.stop = true; }));
      on_write = nullptr;
    });
    EXPECT_EQ(handler.ProcessWaitAndProcessEvents(kLongMs), 1);
  }
  EXPECT_EQ(count, 1);
  LThreadRunOnMainThread::Destroy();
}

TEST_F(NoEventDescriptor, ASignalWakesTheWait) {
  StopFlag handler;
  const LSignalObject signal;
  const Stopwatch watch;
  const Later later(30, [&] { signal.Signal(); });
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, kLongMs), 0);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(NoEventDescriptor, ABracketsStopIsCalled) {
  int calls = 0;
  LRunLoopEnter([](void* data) { ++*static_cast<int*>(data); }, &calls);
  EXPECT_TRUE(platform::StopRunLoop());
  LEventQueueDrain();
  EXPECT_EQ(calls, 1);
  LRunLoopLeave();
}

// Nothing wakes a loop that sleeps already, but one that is about to sleep looks first.
TEST_F(NoEventDescriptor, AHostsLoopSeesARequestThatCameBefore) {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  LRunLoopEnter([](void* data) { g_main_loop_quit(static_cast<GMainLoop*>(data)); }, loop);
  EXPECT_TRUE(platform::StopRunLoop());
  const Stopwatch watch;
  {
    const support::HostSource limit(static_cast<int>(kSoonMs), [&] { g_main_loop_quit(loop); });
    g_main_loop_run(loop);
  }
  EXPECT_LT(watch.Ms(), kSoonMs);
  LRunLoopLeave();
  g_main_loop_unref(loop);
}

}  // namespace
