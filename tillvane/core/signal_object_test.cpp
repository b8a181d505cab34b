#include <fcntl.h>
#include <pthread.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <memory>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LSignalObject.h>

namespace {

using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::Later;
using support::Stopwatch;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;

bool IsOpen(int descriptor) { return fcntl(descriptor, F_GETFD) >= 0; }

/// The number of bytes in a signal object's pipe.
int Pending(const LSignalObjectRef& signal) {
  int bytes = -1;
  ioctl(signal.filedes[0], FIONREAD, &bytes);
  return bytes;
}

/// A descriptor number that is closed and not about to be used again.
int ClosedDescriptor() {
  const LSignalObject signal;
  const int high = fcntl(signal.filedes[0], F_DUPFD_CLOEXEC, 900);
  close(high);
  return high;
}

LSignalObjectRef Reference(int descriptor) {
  LSignalObjectRef reference;
  reference.filedes[0] = descriptor;
  return reference;
}

TEST(SignalObject, LayoutIsTwoDescriptors) {
  EXPECT_EQ(sizeof(LSignalObject), 8u);
  EXPECT_EQ(sizeof(LSignalObjectRef), 8u);
  EXPECT_EQ(offsetof(LSignalObjectRef, filedes), 0u);
  EXPECT_TRUE((std::is_convertible_v<LSignalObject&, LSignalObjectRef>));
  EXPECT_TRUE(std::is_trivially_copyable_v<LSignalObjectRef>);
  EXPECT_FALSE(std::is_copy_constructible_v<LSignalObject>);
  const LSignalObjectRef none;
  EXPECT_EQ(none.filedes[0], -1);
  EXPECT_EQ(none.filedes[1], -1);
}

TEST(SignalObject, EndsAreANonBlockingPipeClosedOnExec) {
  const LSignalObject signal;
  const int directions[] = {O_RDONLY, O_WRONLY};
  for (int end = 0; end < 2; ++end) {
    SCOPED_TRACE(end);
    const int descriptor = signal.filedes[end];
    struct stat status;
    ASSERT_EQ(fstat(descriptor, &status), 0);
    EXPECT_TRUE(S_ISFIFO(status.st_mode));
    EXPECT_TRUE(fcntl(descriptor, F_GETFL) & O_NONBLOCK);
    EXPECT_EQ(fcntl(descriptor, F_GETFL) & O_ACCMODE, directions[end]);
    EXPECT_TRUE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC);
  }
}

TEST(SignalObject, OnlyTheOwnerClosesTheEnds) {
  LSignalObjectRef copy;
  {
    const LSignalObject signal;
    copy = signal;
    std::make_unique<LSignalObjectRef>(copy).reset();
    EXPECT_TRUE(IsOpen(copy.filedes[0]));
    EXPECT_TRUE(IsOpen(copy.filedes[1]));
  }
  EXPECT_FALSE(IsOpen(copy.filedes[0]));
  EXPECT_FALSE(IsOpen(copy.filedes[1]));
}

TEST(SignalObject, SignalWritesOneByteOfValueOne) {
  const LSignalObject signal;
  signal.Signal();
  std::array<unsigned char, 4> bytes{};
  EXPECT_EQ(read(signal.filedes[0], bytes.data(), bytes.size()), 1);
  EXPECT_EQ(bytes[0], 1);
}

TEST(SignalObject, StaysSignalledThroughEveryWaitUntilReset) {
  LSignalObject signal;
  EXPECT_FALSE(signal.IsSignaled());
  signal.Signal();
  LSignalObjectGroup group;
  group.Add(signal);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(signal.IsSignaled());
    EXPECT_TRUE(signal.WaitSignal(0));
    EXPECT_TRUE(signal.WaitSignal(kNoLimit));
    EXPECT_TRUE(signal.WaitSignalDual(signal, kNoLimit));
    EXPECT_TRUE(signal.WaitSignalTriple(signal, signal, kNoLimit));
    EXPECT_TRUE(group.Select(kNoLimit));
  }
  signal.Reset();
  EXPECT_FALSE(signal.IsSignaled());
  EXPECT_FALSE(signal.WaitSignal(0));
}

TEST(SignalObject, ACopySignalsResetsAndWaitsForTheSameObject) {
  const LSignalObject signal;
  LSignalObjectRef copy = signal;
  signal.Signal();
  EXPECT_TRUE(copy.IsSignaled());
  copy.Reset();
  EXPECT_FALSE(signal.IsSignaled());
  copy.Signal();
  EXPECT_TRUE(signal.WaitSignal(kLongMs));
}

TEST(SignalObject, OneResetClearsAnyNumberOfSignals) {
  for (const int signals : {0, 1, 2, 255, 256, 257, 511, 512, 513, 4096, 65535, 65536}) {
    SCOPED_TRACE(signals);
    LSignalObject signal;
    for (int i = 0; i < signals; ++i) signal.Signal();
    EXPECT_EQ(Pending(signal), signals);
    EXPECT_EQ(signal.IsSignaled(), signals > 0);
    signal.Reset();
    EXPECT_EQ(Pending(signal), 0);
    EXPECT_FALSE(signal.IsSignaled());
  }
}

TEST(SignalObject, AFullPipeStaysSignalledAndKeepsErrno) {
  LSignalObject signal;
  const int capacity = fcntl(signal.filedes[1], F_GETPIPE_SZ);
  errno = E2BIG;
  for (int i = 0; i < capacity + 100; ++i) signal.Signal();
  EXPECT_EQ(errno, E2BIG);
  EXPECT_EQ(Pending(signal), capacity);
  EXPECT_TRUE(signal.IsSignaled());
  signal.Reset();
  EXPECT_EQ(Pending(signal), 0);
  signal.Signal();
  EXPECT_TRUE(signal.IsSignaled());
}

TEST(SignalObject, ResetReturnsWithoutAPipeAndAtItsEnd) {
  const Stopwatch watch;
  LSignalObjectRef none;
  errno = EINTR;  // a stale one must not look like an interruption
  none.Reset();
  LSignalObject signal;
  signal.Signal();
  close(signal.filedes[1]);
  signal.filedes[1] = -1;
  errno = EINTR;
  signal.Reset();
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST(SignalObject, AWaitWithoutASignalTakesItsTime) {
  const LSignalObject a, b, c;
  LSignalObjectGroup group;
  group.Add(a);
  for (const unsigned int ms : {0u, 1u, 40u}) {
    SCOPED_TRACE(ms);
    const auto takes_its_time = [ms](const auto& wait) {
      const Stopwatch watch;
      EXPECT_FALSE(wait());
      EXPECT_GE(watch.Ms(), static_cast<long long>(ms));
      EXPECT_LT(watch.Ms(), ms + kAtOnceMs);
    };
    takes_its_time([&] { return a.WaitSignal(ms); });
    takes_its_time([&] { return a.WaitSignalDual(b, ms); });
    takes_its_time([&] { return a.WaitSignalTriple(b, c, ms); });
    takes_its_time([&] { return group.Select(ms); });
    takes_its_time([&] {
      fd_set set;
      FD_ZERO(&set);
      FD_SET(a.filedes[0], &set);
      return a.Select(a.filedes[0], set, ms);
    });
  }
}

TEST(SignalObject, ASignalFromAnotherThreadEndsEveryWait) {
  for (const unsigned int ms : {kLongMs, 0xFFFFFFFEu, kNoLimit}) {
    for (int kind = 0; kind < 4; ++kind) {
      SCOPED_TRACE(::testing::Message() << "wait " << kind << ", " << ms << " ms");
      const LSignalObject a, b, c;
      LSignalObjectGroup group;
      group.Add(c);
      const Stopwatch watch;
      const Later signal(30, [&] { c.Signal(); });
      switch (kind) {
        case 0:
          EXPECT_TRUE(c.WaitSignal(ms));
          break;
        case 1:
          EXPECT_TRUE(a.WaitSignalDual(c, ms));
          break;
        case 2:
          EXPECT_TRUE(a.WaitSignalTriple(b, c, ms));
          break;
        default:
          EXPECT_TRUE(group.Select(ms));
          break;
      }
      EXPECT_GE(watch.Ms(), 30);
      EXPECT_LT(watch.Ms(), kSoonMs);
    }
  }
}

TEST(SignalObject, DualAndTripleAreReadyWhenAnyIs) {
  for (unsigned int signalled = 0; signalled < 8; ++signalled) {
    SCOPED_TRACE(signalled);
    const LSignalObject a, b, c;
    if (signalled & 1) a.Signal();
    if (signalled & 2) b.Signal();
    if (signalled & 4) c.Signal();
    EXPECT_EQ(a.WaitSignalDual(b, 0), (signalled & 3) != 0);
    EXPECT_EQ(b.WaitSignalDual(a, 0), (signalled & 3) != 0);
    EXPECT_EQ(a.WaitSignalTriple(b, c, 0), signalled != 0);
    EXPECT_EQ(c.WaitSignalTriple(a, b, 0), signalled != 0);
  }
}

TEST(SignalObject, AnyNumberOfThreadsWaitOnOneObject) {
  const LSignalObject signal;
  std::array<std::atomic<bool>, 4> results{};
  std::vector<std::thread> waiters;
  for (auto& result : results) waiters.emplace_back([&] { result = signal.WaitSignal(kLongMs); });
  support::SleepMs(20);
  signal.Signal();
  for (auto& waiter : waiters) waiter.join();
  for (const auto& result : results) EXPECT_TRUE(result);
  EXPECT_TRUE(signal.IsSignaled());
}

TEST(SignalObject, SignalsOfManyThreadsAllArrive) {
  const LSignalObject signal;
  std::vector<std::thread> signallers;
  for (int i = 0; i < 4; ++i) {
    signallers.emplace_back([&] {
      for (int k = 0; k < 1000; ++k) signal.Signal();
    });
  }
  for (auto& signaller : signallers) signaller.join();
  EXPECT_EQ(Pending(signal), 4000);
}

// With a signalled neighbour too: one bad descriptor fails the whole wait, and at once, whatever the time.
TEST(SignalObject, AThreadThatIsToEndSignalsBeforeItDoes) {
  const LSignalObject signal;
  EXPECT_TRUE(support::PassesWhileCancelled([&] { signal.Signal(); }));
  EXPECT_TRUE(signal.IsSignaled());
  EXPECT_FALSE(support::PassesWhileCancelled([&] {
    signal.Signal();
    pthread_testcancel();
  })) << "put off, and not forgotten";
  EXPECT_TRUE(support::PassesWhileCancelled([&] {
    int state;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
    signal.Signal();
    pthread_testcancel();
  })) << "whoever puts it off longer is left alone";
}

TEST(SignalObject, AThreadThatIsToEndClosesItsObjectsBeforeItDoes) {
  EXPECT_TRUE(support::PassesWhileCancelled([] { const LSignalObject gone; }));
}

TEST(SignalObjectBadDescriptor, FailsTheWaitAtOnce) {
  const LSignalObject signalled, silent;
  signalled.Signal();
  for (const int descriptor : {-1, -2, INT_MIN, ClosedDescriptor(), 1 << 20, INT_MAX}) {
    const LSignalObjectRef bad = Reference(descriptor);
    EXPECT_FALSE(bad.IsSignaled()) << descriptor;
    for (const LSignalObjectRef& good : {LSignalObjectRef(signalled), LSignalObjectRef(silent)}) {
      for (const unsigned int ms : {0u, kLongMs}) {
        SCOPED_TRACE(::testing::Message() << descriptor << ", " << ms << " ms, signalled " << good.IsSignaled());
        const Stopwatch watch;
        EXPECT_FALSE(bad.WaitSignal(ms));
        EXPECT_FALSE(bad.WaitSignalDual(good, ms));
        EXPECT_FALSE(good.WaitSignalDual(bad, ms));
        EXPECT_FALSE(bad.WaitSignalTriple(good, good, ms));
        EXPECT_FALSE(good.WaitSignalTriple(bad, good, ms));
        EXPECT_FALSE(good.WaitSignalTriple(good, bad, ms));
        EXPECT_LT(watch.Ms(), kSoonMs);
      }
    }
  }
}

TEST(SignalObjectBadDescriptor, FailsAWaitWithoutALimitToo) {
  const LSignalObjectRef closed = Reference(ClosedDescriptor());
  const LSignalObject silent;
  LSignalObjectGroup group;
  group.Add(closed);
  const Stopwatch watch;
  EXPECT_FALSE(closed.WaitSignal(kNoLimit));
  EXPECT_FALSE(silent.WaitSignalDual(closed, kNoLimit));
  EXPECT_FALSE(silent.WaitSignalTriple(closed, silent, kNoLimit));
  EXPECT_FALSE(group.Select(kNoLimit));
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST(SignalObjectBadDescriptor, SignalAndResetDoNothing) {
  LSignalObjectRef none;
  errno = E2BIG;
  none.Signal();
  EXPECT_EQ(errno, E2BIG);
  none.Reset();
  EXPECT_FALSE(none.IsSignaled());
}

TEST(SignalObject, AHangUpIsReadable) {
  LSignalObject signal;
  const LSignalObject silent;
  close(signal.filedes[1]);
  signal.filedes[1] = -1;
  LSignalObjectGroup group;
  group.Add(signal);
  EXPECT_TRUE(signal.IsSignaled());
  EXPECT_TRUE(signal.WaitSignal(kNoLimit));
  EXPECT_TRUE(silent.WaitSignalDual(signal, kNoLimit));
  EXPECT_TRUE(silent.WaitSignalTriple(silent, signal, kNoLimit));
  EXPECT_TRUE(group.Select(kNoLimit));
}

TEST(SignalObjectSelect, OverwritesTheSetWithWhatIsReady) {
  const LSignalObject a, b;
  b.Signal();
  fd_set set;
  FD_ZERO(&set);
  FD_SET(a.filedes[0], &set);
  FD_SET(b.filedes[0], &set);
  EXPECT_TRUE(a.Select(std::max(a.filedes[0], b.filedes[0]), set, kNoLimit));
  EXPECT_FALSE(FD_ISSET(a.filedes[0], &set));
  EXPECT_TRUE(FD_ISSET(b.filedes[0], &set));
}

TEST(SignalObjectSelect, LooksNoFurtherThanTheHighest) {
  const LSignalObject signal;
  signal.Signal();
  fd_set set;
  FD_ZERO(&set);
  FD_SET(signal.filedes[0], &set);
  EXPECT_FALSE(signal.Select(signal.filedes[0] - 1, set, 0));
}

TEST(SignalObjectSelect, FailsAtOnceOutsideTheSetAndForAClosedDescriptor) {
  const LSignalObject signal;
  signal.Signal();
  const int closed = ClosedDescriptor();
  struct Case {
    int highest;
    int member;
  };
  for (const auto& [highest, member] :
       {Case{1024, signal.filedes[0]}, Case{1025, signal.filedes[0]}, Case{INT_MAX, signal.filedes[0]},
        Case{INT_MIN, signal.filedes[0]}, Case{-2, signal.filedes[0]}, Case{closed, closed}}) {
    SCOPED_TRACE(highest);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(member, &set);
    const Stopwatch watch;
    EXPECT_FALSE(signal.Select(highest, set, kLongMs));
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

TEST(SignalObjectSelect, TheHighestOfTheSetIsAllowed) {
  const LSignalObject signal;
  fd_set set;
  FD_ZERO(&set);
  signal.Signal();
  FD_SET(signal.filedes[0], &set);
  EXPECT_TRUE(signal.Select(1023, set, 0));
}

}  // namespace
