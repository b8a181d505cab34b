// Locks that two processes share, and a deadlock that would hold up a test for ever.

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/system_lock_name.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LFileLock.h>
#include <tillvane/core/LSystemLockMutex.h>

namespace {

using support::ChildProcess;
using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::Later;
using support::Stopwatch;
using support::SystemLockName;

const std::string kHelper = TILLVANE_TEST_HELPER;

// --- The lock between processes ---

TEST(SystemLockMutexProcess, AnotherProcessIsKeptOut) {
  const SystemLockName name;
  ChildProcess holder({kHelper, "hold", name.Get()});
  ASSERT_TRUE(holder.WaitForOutput("held", kLongMs)) << holder.Errors();
  LSystemLockMutex lock(name.Get());
  EXPECT_FALSE(lock.Lock(0));
  EXPECT_FALSE(lock.Lock(50));
  holder.Signal(SIGUSR1);
  EXPECT_TRUE(lock.Lock(kLongMs));
}

TEST(SystemLockMutexProcess, AnotherProcessesLockIsNeverFreed) {
  const SystemLockName name;
  ChildProcess holder({kHelper, "hold", name.Get()});
  ASSERT_TRUE(holder.WaitForOutput("held", kLongMs)) << holder.Errors();
  for (const bool asks : {false, true}) {
    LSystemLockMutex lock(name.Get());
    if (asks) {
      EXPECT_FALSE(lock.Lock(0));
    }
    lock.Unlock();
  }
  EXPECT_EQ(name.Value(), 0);
}

TEST(SystemLockMutexProcess, TheSystemGivesBackWhatADeadProcessHeld) {
  const SystemLockName name;
  for (const int ending : {SIGKILL, SIGINT, SIGTERM}) {
    SCOPED_TRACE(ending);
    ChildProcess holder({kHelper, "hold", name.Get()});
    ASSERT_TRUE(holder.WaitForOutput("held", kLongMs)) << holder.Errors();
    const int set = name.Set();
    LSystemLockMutex lock(name.Get());
    EXPECT_FALSE(lock.Lock(0));
    holder.Signal(ending);
    EXPECT_TRUE(lock.Lock(kLongMs));
    EXPECT_EQ(name.Set(), set);
    EXPECT_TRUE(holder.WaitForEnd(kLongMs));
  }
}

TEST(SystemLockMutexProcess, ADeadProcessWakesWhoWaitsForEver) {
  const SystemLockName name;
  ChildProcess holder({kHelper, "hold", name.Get()});
  ASSERT_TRUE(holder.WaitForOutput("held", kLongMs)) << holder.Errors();
  const Later later(30, [&] { holder.Signal(SIGKILL); });
  LSystemLockMutex lock(name.Get());
  const Stopwatch watch;
  lock.LockForever();
  EXPECT_LT(watch.Ms(), kSoonMs);
  EXPECT_EQ(name.Value(), 0);
  lock.Unlock();
  EXPECT_EQ(name.Value(), 1);
}

TEST(SystemLockMutexProcess, AnUnlockedSetStaysWhenItsUserEnds) {
  const SystemLockName name;
  ChildProcess user({kHelper, "hold", name.Get()});
  ASSERT_TRUE(user.WaitForOutput("held", kLongMs)) << user.Errors();
  const int set = name.Set();
  user.Signal(SIGUSR1);
  EXPECT_TRUE(user.WaitForOutput("unlocked", kLongMs));
  EXPECT_EQ(name.Value(), 1);
  user.Signal(SIGTERM);
  EXPECT_TRUE(user.WaitForEnd(kLongMs));
  EXPECT_EQ(name.Value(), 1) << "what it took it had given back itself";
  EXPECT_EQ(name.Set(), set);
}

// Only a semaphore that this process was the last to change is out of step by its own doing.
TEST(SystemLockMutexProcess, ASemaphoreThatAnotherProcessRaisedStays) {
  const SystemLockName name;
  LSystemLockMutex lock(name.Get());
  EXPECT_TRUE(lock.Lock(0));
  const int set = name.Set();
  EXPECT_EQ(support::RunProcess({kHelper, "raise", name.Get()}, kLongMs).exit_code, 0);
  EXPECT_EQ(name.Value(), 1);
  lock.Unlock();
  EXPECT_EQ(name.Set(), set);
  EXPECT_EQ(name.Value(), 2);
}

TEST(SystemLockMutexProcess, NothingIsLostThatIsCountedUnderTheLock) {
  const SystemLockName name;
  const support::TempFolder folder;
  const std::string path = folder.Write("count", "0");
  {
    const auto counting = [&](const char* times) {
      return std::vector<std::string>{kHelper, "count", name.Get(), path, times};
    };
    ChildProcess first(counting("300")), second(counting("301")), third(counting("302"));
    for (ChildProcess* child : {&first, &second, &third}) {
      EXPECT_TRUE(child->WaitForEnd(kLongMs));
      EXPECT_EQ(child->ExitCode(), 0);
    }
  }
  int count = 0;
  std::ifstream(path) >> count;
  EXPECT_EQ(count, 300 + 301 + 302);
}

// --- The file lock with a time ---

class File {
 public:
  explicit File(const std::string& path) : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
  ~File() { close(descriptor_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int Get() const { return descriptor_; }

 private:
  int descriptor_;
};

TEST(FileLockProcess, TakesItsTimeAndGoesOnWithoutTheLock) {
  const support::TempFolder folder;
  const std::string path = folder.Write("file", "");
  ChildProcess holder({kHelper, "flock", path});
  ASSERT_TRUE(holder.WaitForOutput("held", kLongMs)) << holder.Errors();
  const File file(path);
  struct Case {
    unsigned int ms;
    long long slept;
  };
  for (const Case& one : {Case{500, 496}, Case{1000, 992}}) {
    SCOPED_TRACE(one.ms);
    const Stopwatch watch;
    EXPECT_EQ(flocktimed(file.Get(), LOCK_SH | LOCK_NB, one.ms), 0);
    EXPECT_GE(watch.Ms(), one.slept);
    EXPECT_LT(watch.Ms(), one.slept + kAtOnceMs);
    EXPECT_NE(flock(file.Get(), LOCK_SH | LOCK_NB), 0);
  }
}

TEST(FileLockProcess, GetsWhatAnotherProcessGivesBackInTime) {
  const support::TempFolder folder;
  const std::string path = folder.Write("file", "");
  for (const int ending : {SIGUSR1, SIGKILL}) {
    SCOPED_TRACE(ending);
    ChildProcess holder({kHelper, "flock", path});
    ASSERT_TRUE(holder.WaitForOutput("held", kLongMs)) << holder.Errors();
    const File file(path), other(path);
    const Later later(40, [&] { holder.Signal(ending); });
    const Stopwatch watch;
    EXPECT_EQ(flocktimed(file.Get(), LOCK_EX | LOCK_NB, kLongMs), 0);
    EXPECT_GE(watch.Ms(), 40);
    EXPECT_LT(watch.Ms(), kSoonMs);
    EXPECT_NE(flock(other.Get(), LOCK_EX | LOCK_NB), 0) << "the lock is held";
  }
}

// --- Two that upgrade ---

TEST(LockObjectSharedProcess, OneUpgraderComesThroughAndTwoWaitForEachOtherForEver) {
  ChildProcess one({kHelper, "upgrade", "1"});
  EXPECT_TRUE(one.WaitForOutput("upgraded", kLongMs));
  EXPECT_TRUE(one.WaitForEnd(kLongMs));
  EXPECT_EQ(one.ExitCode(), 0);

  ChildProcess two({kHelper, "upgrade", "2"});
  EXPECT_TRUE(two.WaitForOutput("shared", kLongMs));
  EXPECT_FALSE(two.WaitForOutput("upgraded", 500));
  EXPECT_FALSE(two.WaitForEnd(0));
}

}  // namespace
