// What signal objects do with real signals and at the limits of the process's descriptors.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/events.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LProcessInterface.h>
#include <tillvane/core/LSignalObject.h>

namespace {

using support::Interrupter;
using support::kLongMs;
using support::kSoonMs;
using support::Later;
using support::StopFlag;
using support::Stopwatch;
using support::Wait;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;
constexpr int kPeriod = 5000;

// --- Interruptions ---

TEST(SignalObjectInterrupted, CountsAsSignalledInEveryWaitButTheGroups) {
  const LSignalObject a, b, c;
  LSignalObjectGroup group;
  group.Add(a);
  fd_set set;
  FD_ZERO(&set);
  FD_SET(a.filedes[0], &set);
  LProcessInterfaceVoid process;
  for (const unsigned int ms : {kLongMs, 0xFFFFFFFEu, kNoLimit}) {
    SCOPED_TRACE(ms);
    const Interrupter interrupter(kPeriod);
    const Stopwatch watch;
    EXPECT_TRUE(a.WaitSignal(ms));
    EXPECT_TRUE(a.WaitSignalDual(b, ms));
    EXPECT_TRUE(a.WaitSignalTriple(b, c, ms));
    EXPECT_TRUE(a.Select(a.filedes[0], set, ms));
    EXPECT_FALSE(group.Select(ms));
    EXPECT_EQ(process.ProcessWaitSignal(a, ms), 0);
    EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, ms), 2);
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
  EXPECT_FALSE(a.IsSignaled());
}

TEST(SignalObjectInterrupted, LookingIsNeverFooled) {
  const LSignalObject signal;
  const Interrupter interrupter(20);
  const Stopwatch watch;
  int looks = 0;
  int fooled = 0;
  for (; watch.Ms() < 200; ++looks) fooled += signal.IsSignaled() ? 1 : 0;
  EXPECT_EQ(fooled, 0) << "of " << looks;
}

TEST(SignalObjectInterrupted, ResetEmptiesThePipeAllTheSame) {
  const Interrupter interrupter(20);
  for (int round = 0; round < 200; ++round) {
    LSignalObject signal;
    for (int i = 0; i < 300; ++i) signal.Signal();
    signal.Reset();
    ASSERT_FALSE(signal.IsSignaled()) << "round " << round;
  }
}

TEST(SignalObjectInterrupted, APauseTakesItsWholeTime) {
  LProcessInterfaceVoid process;
  const Interrupter interrupter(kPeriod);
  const Stopwatch watch;
  EXPECT_FALSE(process.ProcessWait(150));
  EXPECT_GE(watch.Ms(), 150);
}

// The waits that dispatch events are not ended by a signal that has nothing to say to them.
TEST(SignalObjectInterrupted, WaitsThatDispatchEventsGoOn) {
  StopFlag handler;
  const LSignalObject never;
  const Interrupter interrupter(kPeriod);
  for (const Wait wait : {Wait::kTime, Wait::kSignal}) {
    SCOPED_TRACE(wait);
    const Stopwatch watch;
    EXPECT_EQ(RunWait(wait, handler, never, 100), wait == Wait::kTime ? 0 : 2);
    EXPECT_GE(watch.Ms() + 1, 100);
  }
}

// What a signal handler changes is noticed at once, though the wait has seconds to go.
std::atomic<bool> stop_in_handler{false};

TEST(SignalObjectInterrupted, AWaitLooksAroundAfterASignalHandler) {
  struct Handler : LProcessEventsHandler {
    bool IsProcessEventHandlerToStop() const override { return stop_in_handler; }
  } handler;
  for (const Wait wait : support::kWaits) {
    SCOPED_TRACE(wait);
    stop_in_handler = false;
    const support::HandlerScope scope(SIGUSR2, [](int) { stop_in_handler = true; });
    const LSignalObject never;
    const Stopwatch watch;
    const Later later(50, [target = pthread_self()] { pthread_kill(target, SIGUSR2); });
    EXPECT_EQ(RunWait(wait, handler, never, kLongMs), 1);
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

// --- Limits ---

/// Sets the soft limit of open descriptors and puts the old one back.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t limit) {
    getrlimit(RLIMIT_NOFILE, &old_);
    rlimit changed = old_;
    changed.rlim_cur = limit;
    is_set_ = limit <= old_.rlim_max && setrlimit(RLIMIT_NOFILE, &changed) == 0;
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &old_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;
  bool IsSet() const { return is_set_; }

 private:
  rlimit old_;
  bool is_set_;
};

/// A signal object whose read end is beyond what a set of 1024 bits can hold.
class HighSignal {
 public:
  explicit HighSignal(int lowest) {
    reference_ = low_;
    reference_.filedes[0] = fcntl(low_.filedes[0], F_DUPFD_CLOEXEC, lowest);
  }
  ~HighSignal() { close(reference_.filedes[0]); }
  HighSignal(const HighSignal&) = delete;
  HighSignal& operator=(const HighSignal&) = delete;
  LSignalObjectRef Reference() const { return reference_; }
  LSignalObjectRef Low() const { return low_; }

 private:
  LSignalObject low_;
  LSignalObjectRef reference_;
};

class HighDescriptors : public support::QueueTest {
 protected:
  void SetUp() override {
    if (!limit_.IsSet()) GTEST_SKIP() << "this process may not open more than 2000 descriptors";
  }

  DescriptorLimit limit_{4096};
};

TEST_F(HighDescriptors, WorkInEveryWaitForOneTwoOrThree) {
  for (const int lowest : {1023, 1024, 1025, 2000, 4000}) {
    const HighSignal high(lowest);
    LSignalObjectRef signal = high.Reference();
    ASSERT_GE(signal.filedes[0], lowest);
    SCOPED_TRACE(signal.filedes[0]);
    const LSignalObject low;
    for (const bool is_signalled : {false, true, false}) {
      is_signalled ? signal.Signal() : signal.Reset();
      EXPECT_EQ(signal.IsSignaled(), is_signalled);
      EXPECT_EQ(signal.WaitSignal(0), is_signalled);
      EXPECT_EQ(signal.WaitSignalDual(low, 1), is_signalled);
      EXPECT_EQ(low.WaitSignalDual(signal, 1), is_signalled);
      EXPECT_EQ(low.WaitSignalTriple(low, signal, 1), is_signalled);
    }
  }
}

TEST_F(HighDescriptors, AreLeftOutByGroupsAndRefusedBySelect) {
  for (const int lowest : {1024, 2000, 4000}) {
    const HighSignal high(lowest);
    const LSignalObjectRef signal = high.Reference();
    ASSERT_GE(signal.filedes[0], lowest);
    SCOPED_TRACE(signal.filedes[0]);
    signal.Signal();
    const LSignalObject low;
    LSignalObjectGroup group;
    group.Add(signal);
    EXPECT_FALSE(group.Select(0));
    group.Add(low);
    EXPECT_FALSE(group.Select(0));
    low.Signal();
    EXPECT_TRUE(group.Select(0));
    fd_set set;
    FD_ZERO(&set);
    FD_SET(low.filedes[0], &set);
    EXPECT_FALSE(low.Select(signal.filedes[0], set, 0));
  }
}

TEST_F(HighDescriptors, TheHighestOfASetWorksInAGroup) {
  const HighSignal high(1023);
  if (high.Reference().filedes[0] != 1023) GTEST_SKIP() << "descriptor 1023 is taken";
  LSignalObjectGroup group;
  group.Add(high.Reference());
  EXPECT_FALSE(group.Select(0));
  high.Low().Signal();
  EXPECT_TRUE(group.Select(0));
}

TEST_F(HighDescriptors, WakeTheWaitsThatDispatchEvents) {
  for (const Wait wait : {Wait::kSignal, Wait::kSignalForever}) {
    const HighSignal high(2000);
    StopFlag handler;
    const Stopwatch watch;
    const Later later(30, [&] { high.Low().Signal(); });
    EXPECT_EQ(RunWait(wait, handler, high.Reference(), kLongMs), 0);
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

// Only the first of a pipe's two ends would fit: nothing may be left of it.
TEST(OutOfDescriptors, ASignalObjectHasNoneAndEveryWaitFails) {
  const LSignalObject before;
  for (const int room : {0, 1}) {
    SCOPED_TRACE(room);
    const int next = fcntl(before.filedes[0], F_DUPFD_CLOEXEC, 0);
    close(next);
    const DescriptorLimit limit(static_cast<rlim_t>(next + room));
    ASSERT_TRUE(limit.IsSet());
    {
      LSignalObject signal;
      EXPECT_EQ(signal.filedes[0], -1);
      EXPECT_EQ(signal.filedes[1], -1);
      signal.Signal();
      signal.Reset();
      const Stopwatch watch;
      EXPECT_FALSE(signal.IsSignaled());
      EXPECT_FALSE(signal.WaitSignal(kNoLimit));
      EXPECT_FALSE(before.WaitSignalDual(signal, kNoLimit));
      EXPECT_FALSE(before.WaitSignalTriple(before, signal, kNoLimit));
      LSignalObjectGroup group;
      group.Add(signal);
      EXPECT_FALSE(group.Select(0));
      EXPECT_EQ(LProcessInterfaceVoid().ProcessWaitSignal(signal, kNoLimit), 2);
      EXPECT_LT(watch.Ms(), kSoonMs);
      StopFlag handler;
      EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(signal, 20), 2);
    }
    EXPECT_EQ(fcntl(next, F_GETFD), -1) << "descriptor " << next << " was left open";
  }
}

TEST(OutOfDescriptors, EventsAreStillPostedAndReceived) {
  support::EmptyQueue();
  const LSignalObject before;
  const int next = fcntl(before.filedes[0], F_DUPFD_CLOEXEC, 0);
  close(next);
  const DescriptorLimit limit(static_cast<rlim_t>(next));
  StopFlag handler;
  const support::Recorder stop(1, [&](auto*) { handler.stop = true; });
  support::PostTest(1);
  EXPECT_EQ(handler.ProcessWaitSignalAndProcessEvents(before, kLongMs), 1);
}

}  // namespace
