#include <sys/sem.h>

#include <atomic>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/system_lock_name.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LSystemLockMutex.h>

namespace {

using support::Interrupter;
using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::Later;
using support::Stopwatch;
using support::SystemLockName;

TEST(SystemLockMutex, IsNotCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<LSystemLockMutex>);
  EXPECT_FALSE(std::is_copy_assignable_v<LSystemLockMutex>);
  EXPECT_FALSE((std::is_convertible_v<const char*, LSystemLockMutex>));
}

TEST(SystemLockMutex, TheFirstMakesASetOfOneFreeSemaphoreForEveryUser) {
  const SystemLockName name;
  EXPECT_EQ(name.Set(), -1);
  const LSystemLockMutex lock(name.Get());
  semid_ds status{};
  const union {
    int value;
    semid_ds* status;
  } argument{.status = &status};
  ASSERT_EQ(semctl(name.Set(), 0, IPC_STAT, argument), 0);
  EXPECT_EQ(status.sem_nsems, 1u);
  EXPECT_EQ(status.sem_perm.mode & 0777, 0666);
  EXPECT_EQ(name.Value(), 1);
}

TEST(SystemLockMutex, OpeningLeavesAnExistingSetAsItIs) {
  const SystemLockName name;
  const LSystemLockMutex first(name.Get());
  const int set = name.Set();
  for (const int value : {0, 1, 2}) {
    name.SetValue(value);
    const LSystemLockMutex lock(name.Get());
    EXPECT_EQ(name.Set(), set);
    EXPECT_EQ(name.Value(), value);
  }
}

TEST(SystemLockMutex, TakesTheUnitAndGivesItBack) {
  const SystemLockName name;
  for (const bool for_ever : {false, true}) {
    LSystemLockMutex lock(name.Get());
    const int set = name.Set();
    if (for_ever) {
      lock.LockForever();
    } else {
      EXPECT_TRUE(lock.Lock(0));
    }
    EXPECT_EQ(name.Value(), 0);
    lock.Unlock();
    EXPECT_EQ(name.Value(), 1);
    EXPECT_EQ(name.Set(), set) << "the next user finds it";
  }
}

TEST(SystemLockMutex, ServesOneCriticalSection) {
  const SystemLockName name;
  LSystemLockMutex lock(name.Get());
  EXPECT_TRUE(lock.Lock(0));
  lock.Unlock();
  const Stopwatch watch;
  errno = 0;
  EXPECT_FALSE(lock.Lock(kLongMs));
  EXPECT_EQ(errno, EINVAL);
  EXPECT_LT(watch.Ms(), kSoonMs);
  lock.LockForever();
  EXPECT_EQ(name.Value(), 1);
  lock.Unlock();
  EXPECT_EQ(name.Value(), 1);
}

TEST(SystemLockMutex, ItsEndReleasesWhatItHolds) {
  const SystemLockName name;
  for (const bool for_ever : {false, true}) {
    {
      LSystemLockMutex lock(name.Get());
      if (for_ever) {
        lock.LockForever();
      } else {
        EXPECT_TRUE(lock.Lock(0));
      }
      EXPECT_EQ(name.Value(), 0);
    }
    EXPECT_EQ(name.Value(), 1);
  }
}

TEST(SystemLockMutex, WhatAnotherObjectHoldsIsNeverFreed) {
  const SystemLockName name;
  LSystemLockMutex holder(name.Get());
  EXPECT_TRUE(holder.Lock(0));
  {
    LSystemLockMutex other(name.Get());
    EXPECT_FALSE(other.Lock(0));
    other.Unlock();
    EXPECT_EQ(name.Value(), 0);
  }
  EXPECT_EQ(name.Value(), 0);
}

TEST(SystemLockMutex, AnUnlockWithoutTheLockChangesNothing) {
  const SystemLockName name;
  LSystemLockMutex lock(name.Get());
  lock.Unlock();
  EXPECT_EQ(name.Value(), 1);
  EXPECT_TRUE(lock.Lock(0));
}

TEST(SystemLockMutex, AskingAgainInVainKeepsTheLock) {
  const SystemLockName name;
  LSystemLockMutex lock(name.Get());
  EXPECT_TRUE(lock.Lock(0));
  EXPECT_FALSE(lock.Lock(0));
  EXPECT_EQ(name.Value(), 0);
  lock.Unlock();
  EXPECT_EQ(name.Value(), 1);
}

TEST(SystemLockMutex, WaitsItsTimeForAHeldLock) {
  const SystemLockName name;
  LSystemLockMutex holder(name.Get());
  EXPECT_TRUE(holder.Lock(0));
  for (const unsigned int ms : {0u, 1u, 25u, 60u}) {
    SCOPED_TRACE(ms);
    LSystemLockMutex other(name.Get());
    const Stopwatch watch;
    EXPECT_FALSE(other.Lock(ms));
    EXPECT_GE(watch.Ms(), static_cast<long long>(ms));
    EXPECT_LT(watch.Ms(), ms + kAtOnceMs);
  }
}

TEST(SystemLockMutex, GetsTheLockWhenItIsGivenBackMeanwhile) {
  const SystemLockName name;
  for (const unsigned int ms : {kLongMs, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
    SCOPED_TRACE(ms);
    LSystemLockMutex holder(name.Get()), other(name.Get());
    EXPECT_TRUE(holder.Lock(0));
    const Stopwatch watch;
    const Later later(30, [&] { holder.Unlock(); });
    EXPECT_TRUE(other.Lock(ms));
    EXPECT_GE(watch.Ms(), 30);
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

TEST(SystemLockMutex, ForEverWaitsUntilTheLockIsGivenBack) {
  const SystemLockName name;
  LSystemLockMutex holder(name.Get()), other(name.Get());
  EXPECT_TRUE(holder.Lock(0));
  const Stopwatch watch;
  const Later later(30, [&] { holder.Unlock(); });
  other.LockForever();
  EXPECT_GE(watch.Ms(), 30);
  other.Unlock();
  EXPECT_EQ(name.Value(), 1);
}

TEST(SystemLockMutex, ASignalHandlerEndsTheWaitForEverWithoutTheLock) {
  const SystemLockName name;
  LSystemLockMutex holder(name.Get());
  EXPECT_TRUE(holder.Lock(0));
  {
    LSystemLockMutex other(name.Get());
    const Interrupter interrupter(5000);
    other.LockForever();
    other.Unlock();
  }
  EXPECT_EQ(name.Value(), 0);
}

TEST(SystemLockMutex, ASignalHandlerDoesNotEndAWaitWithATime) {
  const SystemLockName name;
  LSystemLockMutex holder(name.Get()), other(name.Get());
  EXPECT_TRUE(holder.Lock(0));
  const Interrupter interrupter(3000);
  const Stopwatch watch;
  EXPECT_FALSE(other.Lock(100));
  EXPECT_GE(watch.Ms(), 100);
}

TEST(SystemLockMutex, ARemovedSetIsRefusedAtOnce) {
  const SystemLockName name;
  LSystemLockMutex held(name.Get()), other(name.Get());
  EXPECT_TRUE(held.Lock(0));
  name.Remove();
  const Stopwatch watch;
  EXPECT_FALSE(other.Lock(kLongMs));
  other.LockForever();
  held.Unlock();
  EXPECT_LT(watch.Ms(), kSoonMs);
  EXPECT_EQ(name.Set(), -1);
}

TEST(SystemLockMutex, ASetRemovedUnderASleeperEndsItsWait) {
  const SystemLockName name;
  LSystemLockMutex holder(name.Get()), other(name.Get());
  EXPECT_TRUE(holder.Lock(0));
  const Stopwatch watch;
  const Later later(30, [&] { name.Remove(); });
  other.LockForever();
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST(SystemLockMutex, ASemaphoreThatThisProcessSetFreeIsRemoved) {
  const SystemLockName name;
  LSystemLockMutex lock(name.Get());
  EXPECT_TRUE(lock.Lock(0));
  name.SetValue(1);
  lock.Unlock();
  EXPECT_EQ(name.Set(), -1);
  EXPECT_FALSE(lock.Lock(0));
}

TEST(SystemLockMutex, ThreadsWithAnObjectEachExcludeEachOther) {
  const SystemLockName name;
  const LSystemLockMutex first(name.Get());
  constexpr int threads = 4, times = 200;
  std::atomic<int> counter{0};
  std::vector<std::thread> crew;
  for (int i = 0; i < threads; ++i) {
    crew.emplace_back([&] {
      for (int time = 0; time < times; ++time) {
        LSystemLockMutex lock(name.Get());
        lock.LockForever();
        const int before = counter;
        std::this_thread::yield();
        counter = before + 1;
      }
    });
  }
  for (std::thread& thread : crew) thread.join();
  EXPECT_EQ(counter, threads * times);
  EXPECT_EQ(name.Value(), 1);
}

}  // namespace
