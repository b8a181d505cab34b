// System calls that fail under the copies and the locks. The definitions here take the place of the C library's for
// everything that is linked into this program; nobody sleeps.

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/faults.h>
#include <tests/support/files.h>
#include <tests/support/next_definition.h>
#include <tests/support/report_recorder.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LLockFile.h>
#include <tillvane/files/LProcessCopyFile.h>

namespace {

/// One failure of whatever call has the number `at` among all that are counted.
struct AnyFault {
  int error = 0, at = 0, calls = 0;
} any_fault;

/// A call that can fail: always, or the given time; how often it was made is counted.
struct Fault {
  /// \return true when this call is to fail, with errno
  bool Strikes(const char* call = __builtin_FUNCTION()) {
    ++calls;
    if (++any_fault.calls == any_fault.at) {
      support::FailNoted(any_fault.error, call);
      return has_struck = true;
    }
    if (error == 0 || (at != 0 && calls != at)) return false;
    support::FailNoted(error, call);
    return true;
  }

  int error = 0;
  int at = 0;  ///< which call fails; 0 for all
  int calls = 0;
  bool has_struck = false;  ///< as one of any
};

Fault open_fault, fstat_fault, ftruncate_fault, range_fault, sendfile_fault, read_fault, write_fault, futimens_fault,
    close_fault, fchmod_fault, flock_fault, openat_fault, stat_fault, lstat_fault, lseek_fault, unlink_fault;
/// Does the file system tell where holes are?
bool holes_are_told = true;
/// A fault that answers 0 and not -1.
bool range_gives_nothing, sendfile_gives_nothing;
std::size_t most_at_once;  ///< that a call copies; 0 for all
std::function<void()> on_flock, on_unlink;
bool is_slow;  ///< each call takes longer than pieces may that are copied together

using support::Next;

std::size_t Limit(std::size_t size) { return most_at_once != 0 ? std::min(size, most_at_once) : size; }

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  return open_fault.Strikes() ? -1 : Next(&open, "open")(path, flags, mode);
}

int openat(int folder, const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  return openat_fault.Strikes() ? -1 : Next(&openat, "openat")(folder, path, flags, mode);
}

int stat(const char* path, struct stat* status) noexcept {
  return stat_fault.Strikes() ? -1 : Next(&stat, "stat")(path, status);
}

int lstat(const char* path, struct stat* status) noexcept {
  return lstat_fault.Strikes() ? -1 : Next(&lstat, "lstat")(path, status);
}

off_t lseek(int file, off_t offset, int from) noexcept {
  if (lseek_fault.Strikes()) return -1;
  if (!holes_are_told && (from == SEEK_DATA || from == SEEK_HOLE)) {
    errno = EINVAL;
    return -1;
  }
  return Next(&lseek, "lseek")(file, offset, from);
}

int fstat(int file, struct stat* status) noexcept {
  return fstat_fault.Strikes() ? -1 : Next(&fstat, "fstat")(file, status);
}

int ftruncate(int file, off_t size) noexcept {
  return ftruncate_fault.Strikes() ? -1 : Next(&ftruncate, "ftruncate")(file, size);
}

ssize_t copy_file_range(int from, off_t* from_at, int to, off_t* to_at, size_t size, unsigned int flags) {
  if (range_gives_nothing) return 0;
  if (range_fault.Strikes()) return -1;
  if (is_slow) poll(nullptr, 0, 6);
  return Next(&copy_file_range, "copy_file_range")(from, from_at, to, to_at, Limit(size), flags);
}

ssize_t sendfile(int to, int from, off_t* from_at, size_t size) noexcept {
  if (sendfile_gives_nothing) return 0;
  if (sendfile_fault.Strikes()) return -1;
  return Next(&sendfile, "sendfile")(to, from, from_at, Limit(size));
}

ssize_t read(int file, void* bytes, size_t size) {
  return read_fault.Strikes() ? -1 : Next(&read, "read")(file, bytes, Limit(size));
}

ssize_t write(int file, const void* bytes, size_t size) {
  return write_fault.Strikes() ? -1 : Next(&write, "write")(file, bytes, Limit(size));
}

int futimens(int file, const timespec times[2]) noexcept {
  return futimens_fault.Strikes() ? -1 : Next(&futimens, "futimens")(file, times);
}

int close(int file) {
  const int result = Next(&close, "close")(file);
  return close_fault.Strikes() ? -1 : result;
}

int fchmod(int file, mode_t mode) noexcept { return fchmod_fault.Strikes() ? -1 : Next(&fchmod, "fchmod")(file, mode); }

int unlink(const char* path) noexcept {
  if (on_unlink) on_unlink();
  return unlink_fault.Strikes() ? -1 : Next(&unlink, "unlink")(path);
}

int flock(int file, int operation) noexcept {
  if (on_flock) on_flock();
  return flock_fault.Strikes() ? -1 : Next(&flock, "flock")(file, operation);
}

int nanosleep(const timespec*, timespec*) { return 0; }

}  // extern "C"

namespace {

using support::Contents;
using support::IsThere;
using support::ReportRecorder;

constexpr std::size_t kPiece = 32768;

void Heal() {
  for (Fault* fault : {&open_fault, &fstat_fault, &ftruncate_fault, &range_fault, &sendfile_fault, &read_fault,
                       &write_fault, &futimens_fault, &close_fault, &fchmod_fault, &flock_fault, &openat_fault,
                       &stat_fault, &lstat_fault, &lseek_fault, &unlink_fault}) {
    *fault = {};
  }
  any_fault = {};
  holes_are_told = true;
  range_gives_nothing = sendfile_gives_nothing = false;
  most_at_once = 0;
  on_flock = on_unlink = {};
  is_slow = false;
}

class CopyFault : public testing::Test {
 protected:
  CopyFault() {
    for (std::size_t i = 0; i < bytes_.size(); i += 7) bytes_[i] = static_cast<char>(i * i / 251);
    source_ = folder_.Write("source", bytes_);
    Heal();
  }
  ~CopyFault() override { Heal(); }

  int Copy() { return Process(reports_, {source_.c_str(), copy_.c_str()}); }
  int CopyFile() { return LFile::CopyFile(source_.c_str(), copy_.c_str()); }

  /// Whatever failed is over; a whole copy is there, or nothing.
  void ExpectSourceAnd(bool copy) {
    const int error = errno;
    Heal();
    EXPECT_TRUE(Contents(source_) == bytes_);
    EXPECT_EQ(IsThere(copy_), copy);
    if (copy) {
      EXPECT_TRUE(Contents(copy_) == bytes_);
    }
    unlink(copy_.c_str());
    errno = error;
  }

  /// Makes the source one with a hole in it, where the file system has such.
  void MakeHole() {
    bytes_ = "begin" + std::string(40 * kPiece, '\0') + "end";
    folder_.Write("source", "begin");
    EXPECT_EQ(truncate(source_.c_str(), static_cast<off_t>(bytes_.size() - 3)), 0);
    std::ofstream(source_, std::ios::app) << "end";
  }

  /// Lets the call with this number fail under a copy. \return false when there were fewer
  bool CopyWithFailure(int error, int at, bool with_progress, bool was_there) {
    SCOPED_TRACE((with_progress ? "with progress, error " : "error ") + std::to_string(error) + " of call " +
                 std::to_string(at));
    const std::string before = "what was there before";
    if (was_there) folder_.Write("copy", before);
    Heal();
    any_fault = {error, at, 0};
    const bool is_copied = with_progress ? Copy() == 0 : CopyFile() == 1;
    const bool has_failed = any_fault.calls >= at;
    const bool may_be_empty = with_progress && fstat_fault.has_struck;
    Heal();
    const std::string copy = Contents(copy_);
    if (!is_copied) {
      EXPECT_TRUE(!IsThere(copy_) || (was_there && copy == before)) << copy.size() << " bytes are left";
    } else {
      EXPECT_TRUE(copy == bytes_ || (may_be_empty && copy.empty())) << copy.size() << " bytes";
    }
    EXPECT_TRUE(Contents(source_) == bytes_);
    unlink(copy_.c_str());
    return has_failed;
  }

  const support::TempFolder folder_;
  std::string bytes_ = std::string(20 * kPiece + 77, 'x');
  std::string source_;
  const std::string copy_ = folder_.File("copy");
  ReportRecorder reports_;
};

TEST_F(CopyFault, WhatTheSystemCannotCopyIsReadAndWritten) {
  for (const int error : {0, EXDEV, EINVAL, EOPNOTSUPP, EIO, ENOSYS, EPERM}) {
    for (const bool has_sendfile : {true, false}) {
      for (const std::size_t most : {std::size_t{0}, std::size_t{1000}}) {
        for (const bool with_progress : {true, false}) {
          SCOPED_TRACE(error);
          range_gives_nothing = error == 0;
          range_fault.error = error;
          sendfile_fault.error = has_sendfile ? 0 : EINVAL;
          most_at_once = most;
          if (with_progress) {
            EXPECT_EQ(Copy(), 0);
          } else {
            EXPECT_EQ(CopyFile(), 1);
          }
          EXPECT_EQ(range_fault.calls > 0, error != 0);
          EXPECT_GT(sendfile_fault.calls, 0);
          EXPECT_EQ(write_fault.calls > 0, !has_sendfile);
          ExpectSourceAnd(true);
        }
      }
    }
  }
}

TEST_F(CopyFault, InterruptionsAndShortCopiesDoNotMatter) {
  for (Fault* fault : {&range_fault, &sendfile_fault, &read_fault, &write_fault}) {
    range_gives_nothing = fault != &range_fault;
    sendfile_gives_nothing = fault == &read_fault || fault == &write_fault;
    *fault = {EINTR, 2, 0};
    most_at_once = 5000;
    EXPECT_EQ(Copy(), 0);
    EXPECT_GT(fault->calls, 2);
    ExpectSourceAnd(true);
  }
}

TEST_F(CopyFault, AFailureAtAnyPieceKeepsNothing) {
  for (const int error : {ENOSPC, EIO, EDQUOT}) {
    for (Fault* fault : {&read_fault, &write_fault}) {
      for (int at = 1; at <= 20; ++at) {
        SCOPED_TRACE(at);
        for (const bool with_progress : {true, false}) {
          range_gives_nothing = sendfile_gives_nothing = true;
          *fault = {error, at, 0};
          reports_ = {};
          EXPECT_EQ(with_progress ? Copy() : CopyFile(), with_progress ? 2 : 0);
          EXPECT_EQ(errno, error);
          EXPECT_EQ(reports_.progress.size(), with_progress ? static_cast<std::size_t>(at) : 0) << "what was copied";
          ExpectSourceAnd(false);
        }
      }
    }
  }
}

TEST_F(CopyFault, AFullDiskIsNotTriedInOtherWays) {
  for (Fault* fault : {&range_fault, &sendfile_fault}) {
    for (const int error : {ENOSPC, EDQUOT, EFBIG, ENOMEM}) {
      for (int at = 1; at <= 3; ++at) {
        range_gives_nothing = fault == &sendfile_fault;
        *fault = {error, at, 0};
        reports_ = {};
        EXPECT_EQ(Copy(), 2);
        EXPECT_EQ(errno, error);
        // A piece, another one, then two.
        EXPECT_EQ(reports_.progress.size(), static_cast<std::size_t>(at));
        ExpectSourceAnd(false);
      }
    }
  }
}

TEST_F(CopyFault, EachCallThatFailsHasItsResult) {
  struct Case {
    const char* what;
    Fault* fault;
    int error, at, result;
  };
  const Case cases[] = {
      {"open the source", &open_fault, EMFILE, 1, 2},  {"open the copy", &open_fault, ENFILE, 2, 2},
      {"empty the copy", &ftruncate_fault, EIO, 1, 2}, {"the copy's time", &futimens_fault, EPERM, 1, 0},
      {"close the copy", &close_fault, EDQUOT, 1, 2},  {"interrupted there", &close_fault, EINTR, 1, 0},
      {"close the source", &close_fault, EIO, 2, 0},   {"lock the source", &flock_fault, ENOLCK, 1, 0},
      {"lock the copy", &flock_fault, ENOLCK, 2, 0},   {"no lock at all", &flock_fault, EWOULDBLOCK, 0, 0}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.what);
    // Only a file that is there already has to be emptied.
    if (one.fault == &ftruncate_fault) folder_.Write("copy", "what was there before");
    *one.fault = {one.error, one.at, 0};
    EXPECT_EQ(Copy(), one.result);
    EXPECT_GE(one.fault->calls, one.at);
    if (one.result == 2) {
      EXPECT_EQ(errno, one.error);
    }
    ExpectSourceAnd(one.result == 0);
  }
}

TEST_F(CopyFault, WhatIsThereIsEmptiedWhenItIsLocked) {
  folder_.Write("copy", "before");
  std::vector<std::string> found;
  on_flock = [&] { found.push_back(Contents(copy_)); };
  EXPECT_EQ(Copy(), 0);
  EXPECT_EQ(found, (std::vector<std::string>{"before", "before"}));
  ExpectSourceAnd(true);
}

TEST_F(CopyFault, WithoutALengthTheCopyIsEmpty) {
  fstat_fault.error = EIO;
  EXPECT_EQ(Copy(), 0);
  Heal();
  EXPECT_EQ(Contents(copy_), "");
  EXPECT_EQ(reports_.progress.size(), 1u);
}

TEST_F(CopyFault, EachCallThatFailsUnderACopyOfAFileHasItsResult) {
  struct Case {
    const char* what;
    Fault* fault;
    int error, result;
  };
  const Case cases[] = {{"the permission bits", &fchmod_fault, EPERM, 1},
                        {"close the copy", &close_fault, EDQUOT, 0},
                        {"interrupted there", &close_fault, EINTR, 1}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.what);
    *one.fault = {one.error, 1, 0};
    EXPECT_EQ(CopyFile(), one.result);
    EXPECT_GE(one.fault->calls, 1);
    if (one.result == 0) {
      EXPECT_EQ(errno, one.error);
    }
    ExpectSourceAnd(one.result == 1);
  }
}

TEST_F(CopyFault, PiecesAreCopiedOneByOneWhereThatTakesTime) {
  is_slow = true;
  EXPECT_EQ(Copy(), 0);
  EXPECT_EQ(range_fault.calls, 21) << "so that a stop comes soon";
  ExpectSourceAnd(true);
}

TEST_F(CopyFault, OneFailureOfAnyCallLeavesAWholeCopyOrNothing) {
  for (const bool has_hole : {false, true}) {
    if (has_hole) MakeHole();
    for (const bool with_progress : {true, false}) {
      for (const bool was_there : {false, true}) {
        for (const int error : {EIO, ENOSPC, EINTR}) {
          int at = 1;
          while (CopyWithFailure(error, at, with_progress, was_there)) ++at;
          EXPECT_GT(at, 10) << "so many calls there are";
        }
      }
    }
  }
}

TEST_F(CopyFault, WhereHolesAreNotToldThereAreNone) {
  MakeHole();
  for (const bool with_progress : {true, false}) {
    holes_are_told = false;
    EXPECT_EQ(with_progress ? Copy() : CopyFile(), with_progress ? 0 : 1);
    EXPECT_GT(lseek_fault.calls, 0);
    ExpectSourceAnd(true);
  }
}

TEST_F(CopyFault, AHoleThatCannotBeMadeKeepsNothing) {
  MakeHole();
  struct stat status;
  ASSERT_EQ(stat(source_.c_str(), &status), 0);
  if (status.st_blocks * 512 >= status.st_size) GTEST_SKIP() << "this file system has no holes";
  for (const int error : {ENOSPC, EFBIG}) {
    for (const bool with_progress : {true, false}) {
      SCOPED_TRACE(error);
      ftruncate_fault = {error, 1, 0};
      EXPECT_EQ(with_progress ? Copy() : CopyFile(), with_progress ? 2 : 0);
      EXPECT_EQ(errno, error);
      ExpectSourceAnd(false);
    }
  }
  EXPECT_EQ(Copy(), 0);
  ExpectSourceAnd(true);
}

class LockFault : public testing::Test {
 protected:
  LockFault() { Heal(); }
  ~LockFault() override { Heal(); }

  const support::TempFolder folder_;
  const std::string path_ = folder_.File("app.db"), lock_path_ = folder_.File("app.lck");
};

TEST_F(LockFault, OnlyAnothersLockIsALock) {
  struct Case {
    Fault* fault;
    int error, result;
  };
  const Case cases[] = {{&flock_fault, EAGAIN, 0}, {&flock_fault, ENOLCK, 1}, {&flock_fault, EINTR, 1},
                        {&fstat_fault, EIO, 1},    {&open_fault, EACCES, 1},  {&open_fault, EAGAIN, 0},
                        {&open_fault, EMFILE, 1}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.error);
    // Whatever closing says, the reason is that of the lock.
    close_fault.error = EIO;
    one.fault->error = one.error;
    LLockFile lock;
    EXPECT_EQ(lock.Lock(path_.c_str()), one.result);
    EXPECT_EQ(errno, one.error);
    EXPECT_EQ(lock.filedes, -1);
    EXPECT_EQ(LFile::TestFileShareReadBlocked(lock_path_.c_str()), 1 - one.result);
    Heal();
  }
}

// Whoever comes while a lock is given back does not share it with whoever comes then.
TEST_F(LockFault, ALockThatIsGivenBackIsNotGivenTwice) {
  LLockFile first;
  ASSERT_EQ(first.Lock(path_.c_str()), 1);
  LLockFile second;
  int second_result = -1;
  on_unlink = [&] {
    if (second_result == -1) second_result = second.Lock(path_.c_str());
  };
  EXPECT_EQ(first.Lock(folder_.File("other.db").c_str()), 1);
  EXPECT_EQ(second_result, 0) << "it is not given back yet";
  LLockFile third;
  EXPECT_EQ(third.Lock(path_.c_str()), 1);
}

TEST_F(LockFault, TheLockIsThatOfTheFileThatIsThere) {
  int count = 0;
  on_flock = [&] {
    // The one who had it deletes the file before giving the lock back.
    if (++count <= 3) unlink(lock_path_.c_str());
  };
  LLockFile lock, other;
  EXPECT_EQ(lock.Lock(path_.c_str()), 1);
  EXPECT_EQ(count, 4);
  EXPECT_TRUE(IsThere(lock_path_));
  EXPECT_EQ(other.Lock(path_.c_str()), 0);
}

TEST_F(LockFault, OneThatIsReplacedForEverIsSomebodyElses) {
  on_flock = [&] { unlink(lock_path_.c_str()); };
  LLockFile lock;
  EXPECT_EQ(lock.Lock(path_.c_str()), 0);
  EXPECT_EQ(lock.filedes, -1);
}

}  // namespace
