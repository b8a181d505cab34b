// Threads that register, rename, describe and leave all at once. Meant for ThreadSanitizer; long with
// TILLVANE_TEST_LONG set.

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <cstring>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <tests/support/threads.h>
#include <tillvane/core/mutex_guard.h>
#include <tillvane/diag/thread_registry.h>
#include <tillvane/platform/thread_id.h>

namespace {

using support::Rounds;

void RunOnThreads(int count, const std::function<void(int number)>& function) {
  std::vector<std::thread> threads;
  threads.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) threads.emplace_back(function, i);
  for (std::thread& thread : threads) thread.join();
}

std::string NameOf(const char* tag) {
  char name[8];
  LDebugFormatThreadName(name, tag, platform::CurrentThreadId());
  return name;
}

/// What stands behind the last '-'.
std::string DescribeThread() {
  char line[260];
  LDebugGenerateXIString(line, "first", "third");
  return std::strrchr(line, '-') + 1;
}

class RegistryStress : public testing::Test {
 protected:
  void TearDown() override {
    const core::MutexGuard guard(loDebugThreads);
    EXPECT_EQ(gnDebugThreads, 0U);
  }
};

TEST_F(RegistryStress, EachThreadFindsItsOwnRecordAndNoOther) {
  RunOnThreads(8, [](int number) {
    const std::string tag(3, static_cast<char>('a' + number));
    for (int round = 0; round < Rounds(400); ++round) {
      LDebugThreadDataStartThread(tag.c_str());
      ASSERT_EQ(DescribeThread(), NameOf(tag.c_str()));
      LDebugThreadSetLastDialog("dialog");
      LDebugThreadSetName("name");
      ASSERT_EQ(DescribeThread(), NameOf("name") + "dialog" + NameOf(""));
      {
        const LBugReportBlockScope scope("scope");
        ASSERT_EQ(DescribeThread(), NameOf("scope") + "dialog" + NameOf(""));
      }
      LDebugThreadDataStopThread();
      ASSERT_EQ(DescribeThread(), "Unknown");
    }
  });
}

TEST_F(RegistryStress, MoreThreadsThanRecords) {
  constexpr int count = 80;
  std::atomic<int> registered{0};
  std::barrier together(count);
  RunOnThreads(count, [&](int) {
    for (int round = 0; round < Rounds(20); ++round) {
      together.arrive_and_wait();
      LDebugThreadDataStartThread("Crowd");
      const bool has_record = diag::FindRecord(platform::CurrentThreadId()) != diag::kNoRecord;
      if (has_record) ++registered;
      EXPECT_EQ(DescribeThread(), has_record ? NameOf("Crowd") : "Unknown");
      together.arrive_and_wait();
      EXPECT_EQ(registered, 64);
      together.arrive_and_wait();
      LDebugThreadDataStopThread();
      if (has_record) --registered;
    }
  });
}

TEST_F(RegistryStress, OneStatusTextIsNoMatterToOtherThreads) {
  std::atomic<bool> is_over{false};
  std::thread owner([&] {
    while (!is_over) {
      LDebugThreadStatusSet("the owner's, and nobody else's");
      LDebugThreadStatusClear();
    }
  });
  std::thread([] {
    for (int round = 0; round < Rounds(20000); ++round) ASSERT_EQ(DescribeThread(), "Unknown");
  }).join();
  is_over = true;
  owner.join();
}

TEST_F(RegistryStress, AStatusTextThatIsTakenAwayIsNotHalfAnothers) {
  for (int round = 0; round < Rounds(200); ++round) {
    const std::string mine(200, 'm'), other(200, 'o');
    LDebugThreadStatusSet(mine.c_str());
    std::atomic<bool> begun{false};
    std::thread thief([&] {
      begun = true;
      LDebugThreadStatusSet(other.c_str());
    });
    while (!begun) std::this_thread::yield();
    bool is_mine = true;
    for (int i = 0; i < 20; ++i) {
      const std::string part = DescribeThread();
      ASSERT_TRUE(part == "UnknownGloIni1" || (is_mine && part == "Unknown" + mine)) << part;
      is_mine = part != "UnknownGloIni1";
    }
    thief.join();
    LDebugThreadStatusClear();
    EXPECT_EQ(DescribeThread(), "UnknownGloIni1");
  }
}

}  // namespace
