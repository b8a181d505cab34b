#include <array>
#include <memory>
#include <type_traits>

#include <gtest/gtest.h>

#include <tests/support/background.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LLockObjectShared.h>

namespace {

using support::Background;

void Read(LLockObjectShared& lock) {
  lock.LockShared();
  lock.UnlockShared();
}

void Write(LLockObjectShared& lock) {
  lock.LockExclusive();
  lock.UnlockExclusive();
}

TEST(LockObjectShared, IsNotCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<LLockObjectShared>);
  EXPECT_FALSE(std::is_copy_assignable_v<LLockObjectShared>);
}

TEST(LockObjectShared, EveryUseLeavesItFree) {
  LLockObjectShared lock;
  for (int i = 0; i < 3; ++i) {
    lock.LockShared();
    lock.UnlockShared();
    lock.LockExclusive();
    lock.UnlockExclusive();
    lock.LockShared();
    lock.UpgradeLock();
    lock.UnlockExclusive();
    lock.LockExclusive();
    lock.DowngradeLock();
    lock.UnlockShared();
    lock.LockShared();
    lock.UpgradeLock();
    lock.DowngradeLock();
    lock.UpgradeLock();
    lock.UnlockExclusive();
  }
}

TEST(LockObjectShared, ReadersShareAndAnyThreadMayLeave) {
  LLockObjectShared lock;
  lock.LockShared();
  const Background other([&] {
    lock.LockShared();
    lock.UnlockShared();
    lock.UnlockShared();
  });
  EXPECT_TRUE(other.Ends());
  lock.LockExclusive();
  lock.UnlockExclusive();
}

TEST(LockObjectShared, AWriterWaitsUntilBothReadersHaveLeft) {
  LLockObjectShared lock;
  lock.LockShared();
  lock.LockShared();
  const Background writer([&] { Write(lock); });
  EXPECT_TRUE(writer.Hangs());
  lock.UnlockShared();
  EXPECT_TRUE(writer.Hangs());
  lock.UnlockShared();
  EXPECT_TRUE(writer.Ends());
}

TEST(LockObjectShared, AWriterKeepsReadersAndWritersOut) {
  LLockObjectShared lock;
  lock.LockExclusive();
  const Background reader([&] { Read(lock); });
  const Background writer([&] { Write(lock); });
  EXPECT_TRUE(reader.Hangs());
  EXPECT_FALSE(writer.IsDone());
  lock.UnlockExclusive();
  EXPECT_TRUE(reader.Ends());
  EXPECT_TRUE(writer.Ends());
}

TEST(LockObjectShared, ReadersComeInPastAWriterThatWaits) {
  LLockObjectShared lock;
  lock.LockShared();
  const Background writer([&] { Write(lock); });
  EXPECT_TRUE(writer.Hangs());
  {
    const Background reader([&] { lock.LockShared(); });
    EXPECT_TRUE(reader.Ends());
    // Otherwise the writer and the reader would wait for this test for ever.
    lock.UnlockShared();
  }
  EXPECT_TRUE(writer.Hangs());
  lock.UnlockShared();
  EXPECT_TRUE(writer.Ends());
}

TEST(LockObjectShared, EveryWriterThatWaitsGetsItsTurn) {
  LLockObjectShared lock;
  for (int round = 0; round < 20; ++round) {
    lock.LockShared();
    std::array<std::unique_ptr<Background>, 4> writers;
    for (auto& writer : writers) {
      writer = std::make_unique<Background>([&] { Write(lock); });
    }
    if (round < 5) support::SleepMs(10);
    for (const auto& writer : writers) EXPECT_FALSE(writer->IsDone());
    lock.UnlockShared();
    for (const auto& writer : writers) EXPECT_TRUE(writer->Ends()) << "round " << round;
  }
}

TEST(LockObjectShared, AnUpgradeWaitsForTheOtherReadersAndKeepsNewOnesOut) {
  LLockObjectShared lock;
  lock.LockShared();
  lock.LockShared();
  const Background upgrader([&] {
    lock.UpgradeLock();
    support::SleepMs(20);
    lock.UnlockExclusive();
  });
  EXPECT_TRUE(upgrader.Hangs());
  const Background reader([&] { Read(lock); });
  EXPECT_TRUE(reader.Hangs());
  EXPECT_FALSE(upgrader.IsDone());
  lock.UnlockShared();
  EXPECT_TRUE(upgrader.Ends());
  EXPECT_TRUE(reader.Ends());
}

TEST(LockObjectShared, AnUpgradedLockIsExclusive) {
  LLockObjectShared lock;
  lock.LockShared();
  lock.UpgradeLock();
  const Background reader([&] { Read(lock); });
  EXPECT_TRUE(reader.Hangs());
  lock.UnlockExclusive();
  EXPECT_TRUE(reader.Ends());
}

// The upgrader was the last reader, and nobody else would wake the writer.
TEST(LockObjectShared, AnUpgradeLeavesNoWriterAsleep) {
  LLockObjectShared lock;
  lock.LockShared();
  const Background writer([&] { Write(lock); });
  EXPECT_TRUE(writer.Hangs());
  lock.UpgradeLock();
  EXPECT_TRUE(writer.Hangs());
  lock.UnlockExclusive();
  const bool woke = writer.Ends();
  EXPECT_TRUE(woke);
  if (!woke) {
    // The next last reader wakes it.
    lock.LockShared();
    lock.UnlockShared();
  }
}

TEST(LockObjectShared, ADowngradeLetsReadersInAndWritersNot) {
  LLockObjectShared lock;
  lock.LockExclusive();
  const Background reader([&] { Read(lock); });
  const Background writer([&] { Write(lock); });
  EXPECT_TRUE(reader.Hangs());
  lock.DowngradeLock();
  EXPECT_TRUE(reader.Ends());
  EXPECT_TRUE(writer.Hangs());
  lock.UnlockShared();
  EXPECT_TRUE(writer.Ends());
}

}  // namespace
