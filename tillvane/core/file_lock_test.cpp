#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include <gtest/gtest.h>

#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LFileLock.h>

namespace {

using support::Interrupter;
using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::Later;
using support::Stopwatch;

constexpr int kShared = LOCK_SH | LOCK_NB;
constexpr int kExclusive = LOCK_EX | LOCK_NB;

/// An open file with a lock of its own: `flock` belongs to the open file and not to the process.
class OpenFile {
 public:
  explicit OpenFile(const std::string& path, int flags = O_RDONLY)
      : descriptor_(open(path.c_str(), flags | O_CLOEXEC)) {}
  ~OpenFile() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  int Get() const { return descriptor_; }

  /// Could this open file have the lock now?
  bool CanLock(int operation) const {
    if (flock(descriptor_, operation) != 0) return false;
    flock(descriptor_, LOCK_UN);
    return true;
  }

 private:
  int descriptor_;
};

TEST(FileLock, PassesTheOperationOn) {
  EXPECT_EQ(kShared, 5);
  EXPECT_EQ(kExclusive, 6);
  const support::TempFolder folder;
  const std::string path = folder.Write("file", "");
  const OpenFile one(path), other(path);
  EXPECT_EQ(flocktimed(one.Get(), kShared, 0), 0);
  EXPECT_TRUE(other.CanLock(kShared));
  EXPECT_FALSE(other.CanLock(kExclusive));
  EXPECT_EQ(flocktimed(one.Get(), kExclusive, 0), 0);
  EXPECT_FALSE(other.CanLock(kShared));
  EXPECT_EQ(flocktimed(one.Get(), LOCK_UN, 0), 0);
  EXPECT_TRUE(other.CanLock(kExclusive));
}

TEST(FileLock, LocksFolders) {
  const support::TempFolder folder;
  const OpenFile one(folder.Path(), O_DIRECTORY), other(folder.Path(), O_DIRECTORY);
  EXPECT_EQ(flocktimed(one.Get(), kExclusive, 0), 0);
  EXPECT_FALSE(other.CanLock(kShared));
}

TEST(FileLock, TakesItsTimeForAHeldLockAndAnswersZeroWithoutIt) {
  const support::TempFolder folder;
  const std::string path = folder.Write("file", "");
  const OpenFile holder(path), other(path), third(path);
  EXPECT_EQ(flocktimed(holder.Get(), kShared, 0), 0);
  struct Case {
    unsigned int ms;
    long long slept;
  };
  for (const Case& one : {Case{0, 1}, Case{1, 1}, Case{32, 2 + 4 + 8 + 16}, Case{100, 4 + 8 + 16 + 32 + 64}}) {
    SCOPED_TRACE(one.ms);
    const Stopwatch watch;
    EXPECT_EQ(flocktimed(other.Get(), kExclusive, one.ms), 0);
    EXPECT_GE(watch.Ms(), one.slept);
    EXPECT_LT(watch.Ms(), one.slept + kAtOnceMs);
    EXPECT_TRUE(third.CanLock(kShared)) << "the answer was 0, but nobody got the exclusive lock";
  }
}

TEST(FileLock, GetsTheLockWhenItIsGivenBackMeanwhile) {
  const support::TempFolder folder;
  const std::string path = folder.Write("file", "");
  const OpenFile holder(path), other(path);
  EXPECT_EQ(flocktimed(holder.Get(), kExclusive, 0), 0);
  const Stopwatch watch;
  const Later later(20, [&] { flock(holder.Get(), LOCK_UN); });
  EXPECT_EQ(flocktimed(other.Get(), kExclusive, 640), 0);
  EXPECT_GE(watch.Ms(), 20);
  EXPECT_FALSE(holder.CanLock(kShared));
}

TEST(FileLock, ASignalHandlerShortensNoSleep) {
  const support::TempFolder folder;
  const std::string path = folder.Write("file", "");
  const OpenFile holder(path), other(path);
  EXPECT_EQ(flocktimed(holder.Get(), kExclusive, 0), 0);
  const Interrupter interrupter(2000);
  const Stopwatch watch;
  EXPECT_EQ(flocktimed(other.Get(), kExclusive, 100), 0);
  EXPECT_GE(watch.Ms(), 4 + 8 + 16 + 32 + 64);
}

TEST(FileLock, RefusesWhatIsNeitherAFileNorAFolder) {
  int pipe_ends[2], socket_ends[2];
  ASSERT_EQ(pipe2(pipe_ends, O_CLOEXEC), 0);
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, socket_ends), 0);
  {
    const OpenFile device("/dev/null");
    const Stopwatch watch;
    for (const int descriptor : {pipe_ends[0], pipe_ends[1], socket_ends[0], device.Get()}) {
      SCOPED_TRACE(descriptor);
      errno = 0;
      EXPECT_NE(flocktimed(descriptor, kExclusive, kLongMs), 0);
      EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
  for (const int descriptor : {pipe_ends[0], pipe_ends[1], socket_ends[0], socket_ends[1]}) close(descriptor);
}

TEST(FileLock, RefusesAtOnceWhatTheSystemRefuses) {
  const support::TempFolder folder;
  const OpenFile file(folder.Write("file", ""));
  const Stopwatch watch;
  EXPECT_NE(flocktimed(-1, kExclusive, kLongMs), 0);
  EXPECT_EQ(errno, EBADF);
  EXPECT_NE(flocktimed(1 << 20, kExclusive, kLongMs), 0);
  EXPECT_EQ(errno, EBADF);
  EXPECT_NE(flocktimed(file.Get(), 0, kLongMs), 0);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

}  // namespace
