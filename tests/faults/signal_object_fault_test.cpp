// System calls that fail or are interrupted under the signal objects. The definitions here take the place of the C
// library's for everything that is linked into this program.

#include <fcntl.h>
#include <poll.h>
#include <sys/select.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tillvane/core/LProcessInterface.h>
#include <tillvane/core/LSignalObject.h>
#include <tillvane/platform/pipe.h>

namespace {

// What a call does instead, while it is set.
support::Replacement<int(int* ends)> on_pipe2{"pipe2"};
support::Replacement<int(int descriptor)> on_close{"close"};
support::Replacement<ssize_t(void* bytes, size_t size)> on_read{"read"};
support::Replacement<int(pollfd* descriptors, nfds_t count, int ms)> on_poll{"poll"};
support::Replacement<int(timeval* timeout)> on_select{"select"};
support::Replacement<int(const timespec* time, timespec* left)> on_nanosleep{"nanosleep"};

using support::Next;

}  // namespace

extern "C" {

int pipe2(int ends[2], int flags) noexcept { return on_pipe2 ? on_pipe2(ends) : Next(&pipe2, "pipe2")(ends, flags); }

int close(int descriptor) { return on_close ? on_close(descriptor) : Next(&close, "close")(descriptor); }

ssize_t read(int descriptor, void* bytes, size_t size) {
  return on_read ? on_read(bytes, size) : Next(&read, "read")(descriptor, bytes, size);
}

int poll(pollfd* descriptors, nfds_t count, int ms) {
  return on_poll ? on_poll(descriptors, count, ms) : Next(&poll, "poll")(descriptors, count, ms);
}

int select(int count, fd_set* read_set, fd_set* write_set, fd_set* error_set, timeval* timeout) {
  if (!on_select) return Next(&select, "select")(count, read_set, write_set, error_set, timeout);
  EXPECT_EQ(write_set, nullptr);
  EXPECT_EQ(error_set, nullptr);
  return on_select(timeout);
}

int nanosleep(const timespec* time, timespec* left) {
  return on_nanosleep ? on_nanosleep(time, left) : Next(&nanosleep, "nanosleep")(time, left);
}

}  // extern "C"

namespace {

constexpr unsigned int kNoLimit = 0xFFFFFFFF;

int FailWith(int error) {
  errno = error;
  return -1;
}

class SignalObjectFault : public testing::Test {
 protected:
  ~SignalObjectFault() override {
    on_pipe2 = {};
    on_close = {};
    on_read = {};
    on_poll = {};
    on_select = {};
    on_nanosleep = {};
  }
};

TEST_F(SignalObjectFault, WithoutAPipeBothEndsAreMinusOneAndEveryWaitFails) {
  for (const int error : {EMFILE, ENFILE, ENOMEM}) {
    SCOPED_TRACE(error);
    on_pipe2 = [error](int* ends) {
      ends[0] = ends[1] = 77;
      return FailWith(error);
    };
    int ends[2] = {5, 6};
    EXPECT_FALSE(platform::OpenSignalPipe(ends));
    EXPECT_EQ(ends[0], -1);
    EXPECT_EQ(ends[1], -1);
    std::vector<int> closed;
    on_close = [&](int descriptor) {
      closed.push_back(descriptor);
      return 0;
    };
    {
      LSignalObject signal;
      EXPECT_EQ(signal.filedes[0], -1);
      EXPECT_EQ(signal.filedes[1], -1);
      signal.Signal();
      EXPECT_FALSE(signal.IsSignaled());
      EXPECT_FALSE(signal.WaitSignal(kNoLimit));
      EXPECT_FALSE(signal.WaitSignalDual(signal, kNoLimit));
      EXPECT_FALSE(signal.WaitSignalTriple(signal, signal, kNoLimit));
      LSignalObjectGroup group;
      group.Add(signal);
      EXPECT_FALSE(group.Select(0));
      EXPECT_EQ(LProcessInterfaceVoid().ProcessWaitSignal(signal, kNoLimit), 2);
      signal.Reset();
    }
    on_close = {};
    EXPECT_EQ(closed, std::vector<int>{});
  }
}

TEST_F(SignalObjectFault, ResetReadsOnThroughInterruptions) {
  LSignalObject signal;
  for (int i = 0; i < 1000; ++i) signal.Signal();
  int calls = 0;
  on_read = [&](void* bytes, size_t size) -> ssize_t {
    if (calls++ % 2 == 0) return FailWith(EINTR);
    return Next(&read, "read")(signal.filedes[0], bytes, size);
  };
  signal.Reset();
  on_read = {};
  EXPECT_FALSE(signal.IsSignaled());
}

TEST_F(SignalObjectFault, ResetEndsAtAnyOtherFailure) {
  for (const int error : {EAGAIN, EBADF, EIO, EISDIR}) {
    LSignalObject signal;
    int calls = 0;
    on_read = [&](void*, size_t) { return ++calls < 10 ? FailWith(error) : 0; };
    signal.Reset();
    EXPECT_EQ(calls, 1) << error;
  }
}

// A wait that a signal handler interrupts: the caller is to look at its own state again. Only the group says "no".
TEST_F(SignalObjectFault, AFailedWaitCountsAsSignalledOnlyWhenItWasInterrupted) {
  for (const int error : {EINTR, EINVAL, ENOMEM, EBADF, EAGAIN}) {
    SCOPED_TRACE(error);
    on_poll = [error](pollfd*, nfds_t, int) { return FailWith(error); };
    on_select = [error](timeval*) { return FailWith(error); };
    const bool interrupted = error == EINTR;
    LSignalObject signal;
    LSignalObjectGroup group;
    group.Add(signal);
    fd_set set;
    FD_ZERO(&set);
    for (const unsigned int ms : {0u, 1000u, 0x80000000u, kNoLimit}) {
      EXPECT_EQ(signal.WaitSignal(ms), interrupted);
      EXPECT_EQ(signal.WaitSignalDual(signal, ms), interrupted);
      EXPECT_EQ(signal.WaitSignalTriple(signal, signal, ms), interrupted);
      EXPECT_EQ(signal.Select(signal.filedes[0], set, ms), interrupted);
      EXPECT_FALSE(group.Select(ms));
      LProcessInterfaceVoid process;
      EXPECT_EQ(process.ProcessWaitSignal(signal, ms), interrupted ? 0 : 2);
      EXPECT_EQ(process.ProcessWaitSignalObjectGroup(group, ms), 2);
    }
  }
}

TEST_F(SignalObjectFault, LookingIsNeverFooledByAnInterruption) {
  for (const bool is_signalled : {false, true}) {
    const LSignalObject signal;
    if (is_signalled) signal.Signal();
    int calls = 0;
    on_poll = [&](pollfd* descriptors, nfds_t count, int ms) {
      EXPECT_EQ(ms, 0);
      return calls++ < 3 ? FailWith(EINTR) : Next(&poll, "poll")(descriptors, count, ms);
    };
    EXPECT_EQ(signal.IsSignaled(), is_signalled);
    EXPECT_EQ(calls, 4);
  }
}

TEST_F(SignalObjectFault, LookingFailsWhenTheCallDoes) {
  const LSignalObject signal;
  signal.Signal();
  for (const int error : {EINVAL, ENOMEM}) {
    on_poll = [error](pollfd*, nfds_t, int) { return FailWith(error); };
    EXPECT_FALSE(signal.IsSignaled()) << error;
  }
}

TEST_F(SignalObjectFault, TimesOfAPollAreMillisecondsInPortionsOf31Bits) {
  struct Case {
    unsigned int ms;
    std::vector<int> times;
  };
  for (const Case& one : {Case{0, {0}}, Case{1, {1}}, Case{999, {999}}, Case{1000, {1000}}, Case{61001, {61001}},
                          Case{0x7FFFFFFE, {0x7FFFFFFE}}, Case{0x7FFFFFFF, {0x7FFFFFFF}},
                          Case{0x80000000, {INT_MAX, 1}}, Case{0xFFFFFFFE, {INT_MAX, INT_MAX}}, Case{kNoLimit, {-1}}}) {
    SCOPED_TRACE(one.ms);
    std::vector<int> times;
    on_poll = [&](pollfd*, nfds_t, int ms) {
      times.push_back(ms);
      return 0;
    };
    const LSignalObject signal;
    EXPECT_FALSE(signal.WaitSignal(one.ms));
    EXPECT_EQ(times, one.times);
    EXPECT_FALSE(signal.WaitSignalDual(signal, one.ms));
    EXPECT_FALSE(signal.WaitSignalTriple(signal, signal, one.ms));
    EXPECT_EQ(times.size(), 3 * one.times.size());
  }
}

TEST_F(SignalObjectFault, TheFirstPortionOfALongTimeEndsTheWaitWhenSomethingIsReady) {
  int calls = 0;
  on_poll = [&](pollfd* descriptors, nfds_t, int) {
    ++calls;
    descriptors->revents = POLLIN;
    return 1;
  };
  const LSignalObject signal;
  EXPECT_TRUE(signal.WaitSignal(0xFFFFFFFE));
  EXPECT_EQ(calls, 1);
}

TEST_F(SignalObjectFault, TimesOfASelectAreSecondsAndMicroseconds) {
  struct Case {
    unsigned int ms;
    long seconds, microseconds;
  };
  for (const auto& one :
       {Case{0, 0, 0}, Case{1, 0, 1000}, Case{999, 0, 999000}, Case{1000, 1, 0}, Case{61001, 61, 1000},
        Case{0x80000000, 2147483, 648000}, Case{0xFFFFFFFE, 4294967, 294000}}) {
    SCOPED_TRACE(one.ms);
    int calls = 0;
    on_select = [&](timeval* timeout) {
      ++calls;
      EXPECT_NE(timeout, nullptr);
      if (timeout == nullptr) return 0;
      EXPECT_EQ(timeout->tv_sec, one.seconds);
      EXPECT_EQ(timeout->tv_usec, one.microseconds);
      return 0;
    };
    const LSignalObject signal;
    const LSignalObjectGroup group;
    fd_set set;
    FD_ZERO(&set);
    EXPECT_FALSE(signal.Select(1023, set, one.ms));
    EXPECT_FALSE(group.Select(one.ms));
    EXPECT_EQ(calls, 2);
  }
}

TEST_F(SignalObjectFault, NoLimitIsASelectWithoutATime) {
  int calls = 0;
  on_select = [&](timeval* timeout) {
    ++calls;
    EXPECT_EQ(timeout, nullptr);
    return 1;
  };
  const LSignalObject signal;
  const LSignalObjectGroup group;
  fd_set set;
  FD_ZERO(&set);
  EXPECT_TRUE(signal.Select(0, set, kNoLimit));
  EXPECT_TRUE(group.Select(kNoLimit));
  EXPECT_EQ(calls, 2);
}

// All bits set is no special time for a pause: nearly fifty days.
TEST_F(SignalObjectFault, TimesOfAPauseAreSecondsAndNanoseconds) {
  struct Case {
    unsigned int ms;
    long seconds, nanoseconds;
  };
  for (const auto& one :
       {Case{0, 0, 0}, Case{1, 0, 1000000}, Case{999, 0, 999000000}, Case{1000, 1, 0}, Case{61001, 61, 1000000},
        Case{0x80000000, 2147483, 648000000}, Case{0xFFFFFFFF, 4294967, 295000000}}) {
    SCOPED_TRACE(one.ms);
    int calls = 0;
    on_nanosleep = [&](const timespec* time, timespec*) {
      ++calls;
      EXPECT_EQ(time->tv_sec, one.seconds);
      EXPECT_EQ(time->tv_nsec, one.nanoseconds);
      return 0;
    };
    EXPECT_FALSE(LProcessInterfaceVoid().ProcessWait(one.ms));
    EXPECT_EQ(calls, 1);
  }
}

TEST_F(SignalObjectFault, AnInterruptedPauseSleepsOnForTheTimeThatIsLeft) {
  std::vector<long> milliseconds;
  on_nanosleep = [&](const timespec* time, timespec* left) {
    milliseconds.push_back(time->tv_sec * 1000 + time->tv_nsec / 1000000);
    if (milliseconds.size() == 4) return 0;
    *left = {4 - static_cast<long>(milliseconds.size()), 5000000};
    return FailWith(EINTR);
  };
  EXPECT_FALSE(LProcessInterfaceVoid().ProcessWait(4500));
  EXPECT_EQ(milliseconds, (std::vector<long>{4500, 3005, 2005, 1005}));
}

TEST_F(SignalObjectFault, APauseThatFailsOtherwiseEnds) {
  int calls = 0;
  on_nanosleep = [&](const timespec*, timespec*) { return ++calls < 10 ? FailWith(EINVAL) : 0; };
  EXPECT_FALSE(LProcessInterfaceVoid().ProcessWait(100));
  EXPECT_EQ(calls, 1);
}

}  // namespace
