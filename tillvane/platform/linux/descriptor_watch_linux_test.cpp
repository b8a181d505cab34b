#include <fcntl.h>
#include <unistd.h>

#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tests/support/glib_sources.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/LSignalObject.h>
#include <tillvane/platform/event_queue.h>

namespace {

using core::kWakeUpClass;
using core::kWakeUpKind;
using platform::kHighPriority;
using platform::StopWatching;
using platform::WatchDescriptor;
using platform::WatchedDescriptor;
using support::HostLoop;
using support::PollCounter;
using support::PostTest;
using support::ReceiveKind;
using support::ReceiveKinds;
using support::Recorder;
using support::Stopwatch;

using Kinds = std::vector<int>;

/// A loop that sleeps polls a few times in a test, one that spins tens of thousands of times.
constexpr int kFewPolls = 100;

/// What the call-out does; it has no data of its own.
std::function<void(CFSocketRef)> on_readable;

void CallOut(CFSocketRef socket, CFSocketCallBackType type, CFDataRef address, const void* data, void* info) {
  EXPECT_EQ(type, platform::kReadCallBack);
  EXPECT_EQ(address, nullptr);
  EXPECT_EQ(data, nullptr);
  EXPECT_EQ(info, nullptr);
  on_readable(socket);
}

/// Receives, and throws away, until the time is over.
void ReceiveFor(int ms) {
  const Stopwatch watch;
  while (watch.Ms() < ms) {
    platform::Event* event = nullptr;
    if (platform::ReceiveEvent(static_cast<double>(ms - watch.Ms()) * 0.001, &event) == platform::Received::kEvent) {
      platform::ReleaseEvent(event);
    }
  }
}

class DescriptorWatchLinux : public support::QueueTest {
 protected:
  ~DescriptorWatchLinux() override { on_readable = {}; }

  /// Lets other sources run, without receiving what is queued at standard priority.
  static void Turn() {
    // A turn comes only now and then while events are at hand: a source of the host's tells when it came.
    const support::HostSource host(support::HostSource::kIdle, {}, G_PRIORITY_DEFAULT);
    const Stopwatch watch;
    while (host.Count() < 3 && watch.Ms() < support::kAtOnceMs) {
      PostTest(1, kHighPriority);
      EXPECT_EQ(ReceiveKind(), 1);
    }
    EXPECT_GE(host.Count(), 3);
  }

  LSignalObject signal_;
};

TEST_F(DescriptorWatchLinux, KnowsItsDescriptorAndLeavesItOpen) {
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &CallOut);
  ASSERT_NE(watch, nullptr);
  EXPECT_EQ(WatchedDescriptor(watch), signal_.filedes[0]);
  EXPECT_EQ(WatchedDescriptor(nullptr), -1);
  StopWatching(watch);
  EXPECT_GE(fcntl(signal_.filedes[0], F_GETFD), 0);
}

TEST_F(DescriptorWatchLinux, ThereIsNoneWithoutADescriptor) {
  int closed = -1;
  {
    const LSignalObject signal;
    closed = signal.filedes[0];
  }
  for (const int descriptor : {-1, -2, closed, 1 << 20}) {
    EXPECT_EQ(WatchDescriptor(descriptor, &CallOut), nullptr) << descriptor;
  }
}

TEST_F(DescriptorWatchLinux, CallsOutWhileTheDescriptorIsReadable) {
  int calls = 0;
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &CallOut);
  on_readable = [&](CFSocketRef socket) {
    EXPECT_EQ(socket, watch);
    ++calls;
    if (calls == 3) signal_.Reset();
  };
  ReceiveFor(20);
  EXPECT_EQ(calls, 0);
  signal_.Signal();
  ReceiveFor(20);
  EXPECT_EQ(calls, 3);
  signal_.Signal();
  StopWatching(watch);
  ReceiveFor(20);
  EXPECT_EQ(calls, 3);
}

TEST_F(DescriptorWatchLinux, PostsOneWakeUpUntilItIsReceived) {
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &LProcessEventsHandler::SocketCallBack);
  signal_.Signal();
  for (int i = 0; i < 5; ++i) {
    Turn();
    EXPECT_EQ(platform::CountEvents(), 1u) << "turn " << i;
  }
  EXPECT_EQ(ReceiveKind(), static_cast<int>(kWakeUpKind));
  for (int i = 0; i < 5; ++i) {
    Turn();
    EXPECT_EQ(platform::CountEvents(), 1u) << "turn " << i << ", the second one";
  }
  signal_.Reset();
  EXPECT_EQ(ReceiveKinds(), Kinds{static_cast<int>(kWakeUpKind)});
  Turn();
  EXPECT_EQ(platform::CountEvents(), 0u);
  StopWatching(watch);
}

// A wake-up that is flushed away is no longer queued either.
TEST_F(DescriptorWatchLinux, PostsAnewAfterAFlush) {
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &LProcessEventsHandler::SocketCallBack);
  signal_.Signal();
  Turn();
  support::EmptyQueue();
  Turn();
  EXPECT_EQ(platform::CountEvents(), 1u);
  StopWatching(watch);
}

TEST_F(DescriptorWatchLinux, StoppingLeavesTheWakeUpQueued) {
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &LProcessEventsHandler::SocketCallBack);
  signal_.Signal();
  Turn();
  StopWatching(watch);
  EXPECT_EQ(ReceiveKinds(), Kinds{static_cast<int>(kWakeUpKind)});
  Turn();
  EXPECT_EQ(platform::CountEvents(), 0u);
}

TEST_F(DescriptorWatchLinux, EventsOfOthersAreNotTakenForItsOwn) {
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &CallOut);
  int calls = 0;
  on_readable = [&](CFSocketRef) {
    ++calls;
    std::thread([] { PostTest(2); }).join();
  };
  signal_.Signal();
  Turn();
  EXPECT_GT(calls, 1);
  StopWatching(watch);
}

TEST_F(DescriptorWatchLinux, TheLastEventThatItPostedCounts) {
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &CallOut);
  int calls = 0;
  on_readable = [&](CFSocketRef) {
    ++calls;
    PostTest(2);
    PostTest(3, platform::kLowPriority);
  };
  signal_.Signal();
  Turn();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(ReceiveKind(), 2);
  Turn();
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(ReceiveKind(), 3);
  Turn();
  EXPECT_EQ(calls, 2);
  StopWatching(watch);
}

TEST_F(DescriptorWatchLinux, TwoWatchesOfOneDescriptorPostOneEach) {
  CFSocketRef first = WatchDescriptor(signal_.filedes[0], &LProcessEventsHandler::SocketCallBack);
  CFSocketRef second = WatchDescriptor(signal_.filedes[0], &LProcessEventsHandler::SocketCallBack);
  signal_.Signal();
  Turn();
  EXPECT_EQ(platform::CountEvents(), 2u);
  StopWatching(first);
  support::EmptyQueue();
  Turn();
  EXPECT_EQ(platform::CountEvents(), 1u);
  StopWatching(second);
}

TEST_F(DescriptorWatchLinux, WakesAHostsOwnLoop) {
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &LProcessEventsHandler::SocketCallBack);
  HostLoop loop;
  const Recorder wake_up(kWakeUpClass, kWakeUpKind, [&](auto*) {
    signal_.Reset();
    loop.Quit();
  });
  const support::Later later(30, [&] { signal_.Signal(); });
  loop.Run();
  EXPECT_EQ(wake_up.Count(), 1);
  StopWatching(watch);
}

TEST_F(DescriptorWatchLinux, RunsWhileAHostWithAnotherLoopDrains) {
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &LProcessEventsHandler::SocketCallBack);
  const Recorder wake_up(kWakeUpClass, kWakeUpKind);
  signal_.Signal();
  LEventQueueDrain();
  LEventQueueDrain();
  EXPECT_GE(wake_up.Count(), 1);
  StopWatching(watch);
}

TEST_F(DescriptorWatchLinux, AHangUpIsReadableAndDoesNotSpinWhileItIsKnown) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  CFSocketRef watch = WatchDescriptor(ends[0], &LProcessEventsHandler::SocketCallBack);
  close(ends[1]);
  Turn();
  EXPECT_EQ(platform::CountEvents(), 1u);
  StopWatching(watch);
  close(ends[0]);
}

TEST_F(DescriptorWatchLinux, AClosedDescriptorEndsTheWatch) {
  for (const bool is_signalled : {false, true}) {
    SCOPED_TRACE(is_signalled);
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    CFSocketRef watch = WatchDescriptor(ends[0], &LProcessEventsHandler::SocketCallBack);
    if (is_signalled) {
      EXPECT_EQ(write(ends[1], "x", 1), 1);
      Turn();
      EXPECT_EQ(platform::CountEvents(), 1u);
    }
    ReceiveFor(5);
    close(ends[0]);
    close(ends[1]);
    const PollCounter polls;
    ReceiveFor(100);
    EXPECT_LE(polls.Count(), kFewPolls);
    EXPECT_EQ(platform::CountEvents(), 0u);
    StopWatching(watch);
  }
}

TEST_F(DescriptorWatchLinux, AWaitWhoseDescriptorIsClosedSleepsOn) {
  for (const support::Wait wait : {support::Wait::kSignal, support::Wait::kSignalForever}) {
    SCOPED_TRACE(wait);
    support::StopFlag handler;
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    LSignalObjectRef signal;
    signal.filedes[0] = ends[0];
    const Recorder close_it(1, [&](auto*) {
      close(ends[0]);
      close(ends[1]);
    });
    PostTest(1);
    const support::HostSource end(150, [&] { handler.stop = true; });
    const PollCounter polls;
    EXPECT_EQ(RunWait(wait, handler, signal, support::kLongMs), 1);
    EXPECT_LE(polls.Count(), kFewPolls);
  }
}

// The object of an outer wait becomes ready while a loop inside of it runs: that loop neither spins nor is flooded.
TEST_F(DescriptorWatchLinux, AnOuterWaitsObjectDoesNotKeepALoopInsideAwake) {
  for (const bool in_host_loop : {false, true}) {
    SCOPED_TRACE(in_host_loop ? "the host's loop inside" : "a pause inside");
    support::StopFlag handler;
    const LSignalObject signal;
    const Recorder wake_up(kWakeUpClass, kWakeUpKind);
    const Recorder nest(1, [&](auto*) {
      signal.Signal();
      const PollCounter polls;
      in_host_loop ? HostLoop().RunFor(100) : void(ProcessWaitAndProcessEvents(100));
      EXPECT_LE(polls.Count(), kFewPolls);
    });
    PostTest(1);
    EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, support::kLongMs), 0);
    EXPECT_EQ(nest.Count(), 1);
    EXPECT_LE(wake_up.Count(), 2);
  }
}

// Nobody receives for a long time, and the signal waits ready: nothing spins, nothing piles up.
TEST_F(DescriptorWatchLinux, AReadyDescriptorDoesNotKeepAHostsLoopAwake) {
  CFSocketRef watch = WatchDescriptor(signal_.filedes[0], &LProcessEventsHandler::SocketCallBack);
  signal_.Signal();
  Turn();
  // Only the wake-up's own arrival may be noticed; a busy handler holds the loop up meanwhile.
  const Recorder wake_up(kWakeUpClass, kWakeUpKind, [&](auto*) {
    signal_.Reset();
    support::SleepMs(20);
  });
  const PollCounter polls;
  HostLoop().RunFor(100);
  EXPECT_EQ(wake_up.Count(), 1);
  EXPECT_LE(polls.Count(), kFewPolls);
  StopWatching(watch);
}

}  // namespace
