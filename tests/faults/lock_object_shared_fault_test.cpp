// What the readers-writer lock does at its pipe: the calls under it are held up, counted or made to fail at the moments
// that are hard to meet otherwise. The definitions here take the place of the C library's.

#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include <tests/support/background.h>
#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LLockObjectShared.h>

namespace {

support::Replacement<int(int* ends)> on_pipe2{"pipe2"};
support::Replacement<int(pollfd* descriptors, nfds_t count, int ms)> on_poll{"poll"};
std::function<void()> before_read;
std::function<void()> before_write;
support::Replacement<int(const timespec* time)> on_nanosleep{"nanosleep"};

using support::Next;

int RealPoll(pollfd* descriptors, nfds_t count, int ms) { return Next(&poll, "poll")(descriptors, count, ms); }

}  // namespace

extern "C" {

int pipe2(int ends[2], int flags) noexcept { return on_pipe2 ? on_pipe2(ends) : Next(&pipe2, "pipe2")(ends, flags); }

int poll(pollfd* descriptors, nfds_t count, int ms) {
  return on_poll ? on_poll(descriptors, count, ms) : RealPoll(descriptors, count, ms);
}

ssize_t read(int descriptor, void* bytes, size_t size) {
  // A copy, which may take itself away.
  if (const auto function = before_read) function();
  return Next(&read, "read")(descriptor, bytes, size);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  if (before_write) before_write();
  return Next(&write, "write")(descriptor, bytes, size);
}

int nanosleep(const timespec* time, timespec* left) {
  return on_nanosleep ? on_nanosleep(time) : Next(&nanosleep, "nanosleep")(time, left);
}

}  // extern "C"

namespace {

class LockObjectSharedFault : public testing::Test {
 protected:
  ~LockObjectSharedFault() override {
    on_pipe2 = {};
    on_poll = {};
    before_read = {};
    before_write = {};
    on_nanosleep = {};
  }

  LLockObjectShared lock_;
};

TEST_F(LockObjectSharedFault, NobodyWaitsNobodyCalls) {
  int calls = 0;
  before_read = before_write = [&] { ++calls; };
  on_poll = [&](pollfd*, nfds_t, int) { return ++calls; };
  on_nanosleep = [&](const timespec*) { return ++calls; };
  lock_.LockShared();
  lock_.LockShared();
  lock_.UnlockShared();
  lock_.UnlockShared();
  lock_.LockExclusive();
  lock_.DowngradeLock();
  lock_.UpgradeLock();
  lock_.UnlockExclusive();
  EXPECT_EQ(calls, 0);
}

TEST_F(LockObjectSharedFault, TheLastReaderTellsAWriterThatWaitsWithOneByte) {
  lock_.LockShared();
  lock_.LockShared();
  int polls = 0, writes = 0;
  before_write = [&] { ++writes; };
  on_poll = [&](pollfd* descriptors, nfds_t count, int ms) {
    ++polls;
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(ms, -1);
    lock_.UnlockShared();
    EXPECT_EQ(writes, 0);
    lock_.UnlockShared();
    // Others come and go before the writer wakes up.
    for (int i = 0; i < 5; ++i) {
      lock_.LockShared();
      lock_.UnlockShared();
    }
    EXPECT_EQ(writes, 1);
    return RealPoll(descriptors, count, static_cast<int>(support::kLongMs));
  };
  lock_.LockExclusive();
  EXPECT_EQ(polls, 1);
  lock_.UnlockExclusive();
}

// The byte that woke the writer is of no use when other readers are in: it sleeps again, and does not spin.
TEST_F(LockObjectSharedFault, AnOldByteWakesAWriterOnce) {
  lock_.LockShared();
  int polls = 0;
  on_poll = [&](pollfd* descriptors, nfds_t count, int) {
    if (++polls == 1) {
      lock_.UnlockShared();
      lock_.LockShared();
    } else {
      EXPECT_EQ(RealPoll(descriptors, count, 0), 0) << "the old byte is still there";
      lock_.UnlockShared();
    }
    return RealPoll(descriptors, count, static_cast<int>(support::kLongMs));
  };
  lock_.LockExclusive();
  EXPECT_EQ(polls, 2);
  lock_.UnlockExclusive();
}

TEST_F(LockObjectSharedFault, AnOldByteDoesNotWakeAnUpgrader) {
  // A writer goes in without draining the byte that woke it.
  lock_.LockShared();
  on_poll = [&](pollfd*, nfds_t, int) {
    lock_.UnlockShared();
    return 1;
  };
  lock_.LockExclusive();
  lock_.DowngradeLock();
  lock_.LockShared();
  int polls = 0;
  on_poll = [&](pollfd* descriptors, nfds_t count, int) {
    EXPECT_EQ(RealPoll(descriptors, count, 0), 0) << "the old byte is still there";
    if (++polls == 1) lock_.UnlockShared();
    return RealPoll(descriptors, count, static_cast<int>(support::kLongMs));
  };
  lock_.UpgradeLock();
  EXPECT_EQ(polls, 1);
  lock_.UnlockExclusive();
}

// While a writer drains the pipe the last reader leaves, and the next one comes: that one has to tell again.
TEST_F(LockObjectSharedFault, AByteDrainedBeforeItsTimeIsFollowedByAnother) {
  lock_.LockShared();
  int reads = 0, polls = 0;
  before_read = [&] {
    if (++reads > 1) return;
    lock_.UnlockShared();
    lock_.LockShared();
  };
  on_poll = [&](pollfd* descriptors, nfds_t count, int) {
    ++polls;
    lock_.UnlockShared();
    EXPECT_EQ(RealPoll(descriptors, count, 0), 1) << "the writer would sleep for ever";
    return 1;
  };
  lock_.LockExclusive();
  EXPECT_EQ(polls, 1);
  lock_.UnlockExclusive();
}

// The byte was for all writers that wait; the one that drained it and goes in itself tells the others.
TEST_F(LockObjectSharedFault, WhoDrainsTheByteAndGoesInWakesTheOthers) {
  lock_.LockShared();
  std::atomic<bool> sleeps{false}, may_look{false};
  on_poll = [&](pollfd* descriptors, nfds_t count, int) {
    sleeps = true;
    while (!may_look) support::SleepMs(1);
    return RealPoll(descriptors, count, static_cast<int>(support::kLongMs));
  };
  const support::Background sleeper([&] {
    lock_.LockExclusive();
    lock_.UnlockExclusive();
  });
  ASSERT_TRUE(support::WaitUntil([&] { return sleeps.load(); }));
  before_read = [&] {
    before_read = {};
    lock_.UnlockShared();
  };
  lock_.LockExclusive();
  may_look = true;
  lock_.UnlockExclusive();
  const bool woke = sleeper.Ends();
  EXPECT_TRUE(woke);
  if (!woke) {
    lock_.LockShared();
    lock_.UnlockShared();
  }
}

TEST_F(LockObjectSharedFault, AnInterruptedWaitLooksAgain) {
  lock_.LockShared();
  int polls = 0;
  on_poll = [&](pollfd*, nfds_t, int) {
    if (++polls == 3) lock_.UnlockShared();
    errno = EINTR;
    return -1;
  };
  lock_.LockExclusive();
  EXPECT_EQ(polls, 3);
  lock_.DowngradeLock();
  lock_.LockShared();
  polls = 0;
  lock_.UpgradeLock();
  EXPECT_EQ(polls, 3);
  lock_.UnlockExclusive();
}

TEST_F(LockObjectSharedFault, WithoutAPipeItWorksAndLooksEveryMillisecond) {
  on_pipe2 = [](int*) {
    errno = EMFILE;
    return -1;
  };
  LLockObjectShared lock;
  lock.LockShared();
  lock.UnlockShared();
  lock.LockExclusive();
  lock.DowngradeLock();
  int sleeps = 0;
  on_nanosleep = [&](const timespec* time) {
    EXPECT_EQ(time->tv_sec, 0);
    EXPECT_EQ(time->tv_nsec, 1000000);
    if (++sleeps == 3) lock.UnlockShared();
    return 0;
  };
  lock.LockExclusive();
  EXPECT_EQ(sleeps, 3);
  lock.DowngradeLock();
  lock.LockShared();
  sleeps = 0;
  lock.UpgradeLock();
  EXPECT_EQ(sleeps, 3);
  lock.UnlockExclusive();
}

}  // namespace
