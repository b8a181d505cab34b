#include <atomic>
#include <cstdlib>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/waiting.h>
#include <tillvane/core/LLockObjectShared.h>

namespace {

/// A minute when TILLVANE_TEST_LONG is set, otherwise a second.
long long StressMs() { return std::getenv("TILLVANE_TEST_LONG") != nullptr ? 60000 : 1000; }

/// What the lock guards, and a count of who is inside. The two numbers are plain on purpose: whoever reads them beside
/// a writer is seen by ThreadSanitizer, and mostly without it.
class Guarded {
 public:
  void Read() {
    ++readers_;
    if (writers_ != 0) ++broken_;
    if (first_ != second_) ++broken_;
    --readers_;
  }

  void Write() {
    if (++writers_ != 1 || readers_ != 0) ++broken_;
    ++first_;
    std::this_thread::yield();
    ++second_;
    --writers_;
  }

  long long Written() const { return first_; }
  int Broken() const { return broken_; }

 private:
  std::atomic<int> readers_{0}, writers_{0}, broken_{0};
  long long first_ = 0, second_ = 0;
};

class Stress {
 public:
  void Run(int threads) {
    const support::Stopwatch watch;
    std::vector<std::thread> crew;
    for (int i = 0; i < threads; ++i) crew.emplace_back([this, i] { Work(static_cast<unsigned int>(i)); });
    while (watch.Ms() < StressMs()) support::SleepMs(10);
    is_over_ = true;
    for (std::thread& thread : crew) thread.join();
  }

  void Check() {
    EXPECT_EQ(guarded_.Broken(), 0);
    EXPECT_EQ(guarded_.Written(), writes_.load());
    for (int i = 0; i < 4; ++i) EXPECT_GT(done_[i], 0) << "kind of use " << i;
  }

 private:
  void Work(unsigned int seed) {
    std::minstd_rand random(seed + 1);
    while (!is_over_) {
      const auto number = random() % 64;
      const int kind = number == 0 ? 1 : number == 1 ? 2 : number == 2 ? 3 : 0;
      switch (kind) {
        case 0:
          Read();
          break;
        case 1:
          Write();
          break;
        case 2:
          Upgrade();
          break;
        default:
          WriteAndDowngrade();
          break;
      }
      if (number > 32) std::this_thread::yield();
      done_[kind].fetch_add(1, std::memory_order_relaxed);
    }
  }

  void Read() {
    lock_.LockShared();
    guarded_.Read();
    lock_.UnlockShared();
  }

  void Change() {
    guarded_.Write();
    ++writes_;
  }

  void Write() {
    lock_.LockExclusive();
    Change();
    lock_.UnlockExclusive();
  }

  void Upgrade() {
    const std::lock_guard one_at_a_time(upgrader_);
    lock_.LockShared();
    guarded_.Read();
    lock_.UpgradeLock();
    Change();
    lock_.UnlockExclusive();
  }

  void WriteAndDowngrade() {
    lock_.LockExclusive();
    Change();
    const long long written = guarded_.Written();
    lock_.DowngradeLock();
    // Nobody may have written in between.
    EXPECT_EQ(guarded_.Written(), written);
    guarded_.Read();
    lock_.UnlockShared();
  }

  LLockObjectShared lock_;
  std::mutex upgrader_;
  Guarded guarded_;
  std::atomic<bool> is_over_{false};
  std::atomic<long long> writes_{0};
  std::atomic<long long> done_[4]{};
};

TEST(LockObjectSharedStress, AWriterIsAloneAndEverybodyGetsATurn) {
  Stress stress;
  stress.Run(64);
  stress.Check();
}

// Few threads wait on and off: the races between the last reader and the one that falls asleep.
TEST(LockObjectSharedStress, ThreeThreads) {
  Stress stress;
  stress.Run(3);
  stress.Check();
}

// A reader that has to go back may be the one that an upgrader waits for; then it has to tell. It is caught at that
// when it loses the processor between its two steps, so that these readers do nothing else.
TEST(LockObjectSharedStress, AnUpgraderBesideReadersThatGoBack) {
  LLockObjectShared lock;
  std::atomic<bool> is_over{false};
  std::vector<std::thread> readers;
  for (int i = 0; i < 8; ++i) {
    readers.emplace_back([&] {
      while (!is_over) {
        lock.LockShared();
        lock.UnlockShared();
      }
    });
  }
  long long upgrades = 0;
  for (const support::Stopwatch watch; watch.Ms() < StressMs(); ++upgrades) {
    lock.LockShared();
    lock.UpgradeLock();
    lock.UnlockExclusive();
  }
  is_over = true;
  for (std::thread& reader : readers) reader.join();
  EXPECT_GT(upgrades, 0);
}

}  // namespace
