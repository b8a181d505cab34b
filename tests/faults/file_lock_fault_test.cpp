// System calls that fail under the file lock. The definitions here take the place of the C library's for everything
// that is linked into this program; nobody sleeps.

#include <fcntl.h>
#include <sys/file.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tests/support/temp_folder.h>
#include <tillvane/core/LFileLock.h>

namespace {

// What a call does instead; the second one while it is set.
support::Replacement<int(int descriptor, int operation)> on_flock{"flock"};
support::Replacement<int(const timespec* time)> on_nanosleep{"nanosleep"};

int FailWith(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

int flock(int descriptor, int operation) noexcept {
  return on_flock ? on_flock(descriptor, operation) : FailWith(ENOSYS);
}

int nanosleep(const timespec* time, timespec* left) {
  if (on_nanosleep) return on_nanosleep(time);
  return support::Next(&nanosleep, "nanosleep")(time, left);
}

}  // extern "C"

namespace {

class FileLockFault : public testing::Test {
 protected:
  FileLockFault() {
    on_nanosleep = [this](const timespec* time) {
      sleeps_.push_back(static_cast<long long>(time->tv_sec) * 1000 + time->tv_nsec / 1000000);
      return 0;
    };
  }
  ~FileLockFault() override {
    on_flock = {};
    on_nanosleep = {};
    close(file_);
  }

  const support::TempFolder folder_;
  const int file_ = open(folder_.Write("file", "").c_str(), O_RDONLY | O_CLOEXEC);
  std::vector<long long> sleeps_;
};

TEST_F(FileLockFault, AttemptsComeAtTwiceTheDistanceEachTime) {
  struct Case {
    unsigned int ms;
    std::vector<long long> sleeps;
  };
  const Case cases[] = {{0, {1}},
                        {1, {1}},
                        {2, {1}},
                        {3, {1, 2}},
                        {31, {1, 2, 4, 8, 16}},
                        {32, {2, 4, 8, 16}},
                        {33, {2, 4, 8, 16, 32}},
                        {500, {16, 32, 64, 128, 256}},
                        {1000, {32, 64, 128, 256, 512}},
                        {1024, {33, 66, 132, 264, 528}},
                        {0x80000000, {0x4000001, 0x8000002, 0x10000004, 0x20000008, 0x40000010}},
                        {0xFFFFFFFF, {0x8000000, 0x10000000, 0x20000000, 0x40000000, 0x80000000}}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.ms);
    sleeps_.clear();
    std::size_t attempts = 0;
    on_flock = [&](int descriptor, int operation) {
      EXPECT_EQ(descriptor, file_);
      EXPECT_EQ(operation, 6);
      EXPECT_EQ(sleeps_.size(), attempts) << "an attempt before each sleep";
      ++attempts;
      return FailWith(EWOULDBLOCK);
    };
    EXPECT_EQ(flocktimed(file_, 6, one.ms), 0);
    EXPECT_EQ(sleeps_, one.sleeps);
    EXPECT_EQ(attempts, one.sleeps.size()) << "none after the last sleep";
  }
}

TEST_F(FileLockFault, ItEndsAtTheFirstSuccessAndAtAnyOtherFailure) {
  for (const int error : {0, EINTR, EBADF, EINVAL, ENOLCK, EOPNOTSUPP}) {
    SCOPED_TRACE(error);
    int attempts = 0;
    on_flock = [&](int, int) {
      if (++attempts < 3) return FailWith(EWOULDBLOCK);
      return error == 0 ? 0 : FailWith(error);
    };
    EXPECT_EQ(flocktimed(file_, 5, 1000) != 0, error != 0);
    if (error != 0) {
      EXPECT_EQ(errno, error);
    }
    EXPECT_EQ(attempts, 3);
  }
}

}  // namespace
