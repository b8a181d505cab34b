// System calls that fail under the marker of a run. The definitions here take the place of the C library's for
// everything that is linked into this program.

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/faults.h>
#include <tests/support/files.h>
#include <tests/support/next_definition.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/temp_folder.h>
#include <tillvane/diag/LHangDetector.h>
#include <tillvane/platform/file_object.h>

using support::Next;

namespace {

// What a call does instead, while it is set.
support::Replacement<int()> on_linkat{"linkat"}, on_flock{"flock"}, on_unlink{"unlink"};
support::Replacement<ssize_t()> on_read{"read"}, on_write{"write"};
bool has_unnamed_files = true;

int FailWith(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const bool makes_one = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const mode_t mode = makes_one ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if (!has_unnamed_files && (flags & O_TMPFILE) == O_TMPFILE) return FailWith(EOPNOTSUPP);
  return Next(&open, "open")(path, flags, mode);
}

int linkat(int from_folder, const char* from, int to_folder, const char* to, int flags) noexcept {
  return on_linkat ? on_linkat() : Next(&linkat, "linkat")(from_folder, from, to_folder, to, flags);
}

int flock(int descriptor, int operation) noexcept {
  return on_flock ? on_flock() : Next(&flock, "flock")(descriptor, operation);
}

int unlink(const char* path) noexcept { return on_unlink ? on_unlink() : Next(&unlink, "unlink")(path); }

ssize_t read(int descriptor, void* buffer, size_t size) {
  return on_read && size == 8 ? on_read() : Next(&read, "read")(descriptor, buffer, size);
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  return on_write && size == 8 ? on_write() : Next(&write, "write")(descriptor, bytes, size);
}

}  // extern "C"

namespace {

class HangDetectorFault : public testing::Test {
 protected:
  ~HangDetectorFault() override {
    on_linkat = {};
    on_flock = {};
    on_unlink = {};
    on_read = {};
    on_write = {};
    has_unnamed_files = true;
  }

  std::set<std::string> Markers() const { return support::Tree(folder_.Path()); }
  std::string Leaked() const { return support::DescribeChanges(before_, support::ListOpenDescriptors()); }
  bool IsHeld() const {
    const int file = open(marker_.c_str(), O_RDONLY | O_CLOEXEC);
    const bool is_held = flock(file, LOCK_SH | LOCK_NB) != 0;
    close(file);
    return is_held;
  }

  const support::TempFolder folder_;
  const std::string marker_ = folder_.File("_tillvane_rl_somebody");
  const support::EnvironmentVariable temporary_{"TMPDIR", folder_.Path().c_str()};
  const support::EnvironmentVariable flatpak_id_{"FLATPAK_ID", nullptr};
  const support::EnvironmentVariable logname_{"LOGNAME", "somebody"};
  const support::OpenDescriptors before_ = support::ListOpenDescriptors();
};

TEST_F(HangDetectorFault, WhereNoFileIsWithoutANameItIsLockedOnceItIsThere) {
  for (const bool has_unnamed : {true, false}) {
    SCOPED_TRACE(has_unnamed);
    has_unnamed_files = has_unnamed;
    // As without /proc.
    on_linkat = [] { return FailWith(ENOENT); };
    LHangDetector detector, second;
    detector.InitAndTest();
    EXPECT_EQ(Markers(), std::set<std::string>{"_tillvane_rl_somebody"});
    EXPECT_EQ(support::Contents(marker_).size(), 8U);
    EXPECT_EQ(support::Mode(marker_), 0600u);
    EXPECT_TRUE(IsHeld());
    second.InitAndTest();
    EXPECT_FALSE(second.FoundUncleanEnd());
    detector.Destroy();
    EXPECT_EQ(Leaked(), "");
  }
}

TEST_F(HangDetectorFault, TheMarkerIsLockedAndWrittenBeforeItHasAName) {
  std::vector<std::string> calls;
  on_flock = [&] {
    calls.emplace_back("flock");
    return 0;
  };
  on_write = [&]() -> ssize_t {
    calls.emplace_back("write");
    return 8;
  };
  on_linkat = [&] {
    calls.emplace_back("linkat");
    // Somebody else was there first.
    return FailWith(EEXIST);
  };
  LHangDetector detector;
  detector.InitAndTest();
  EXPECT_EQ(calls, (std::vector<std::string>{"flock", "write", "linkat"}));
  EXPECT_EQ(Markers(), std::set<std::string>());
  EXPECT_EQ(Leaked(), "");
}

TEST_F(HangDetectorFault, AMarkerThatCouldNotBeLockedIsNotAnothersByNow) {
  has_unnamed_files = false;
  on_flock = [this] {
    // A run that starts has taken the unlocked one away and made its own.
    EXPECT_EQ(std::rename(folder_.Write("other", "another's").c_str(), marker_.c_str()), 0);
    return FailWith(EWOULDBLOCK);
  };
  EXPECT_EQ(platform::CreateLocked(marker_.c_str(), "content", 7, 0600), -1);
  EXPECT_EQ(errno, EWOULDBLOCK);
  EXPECT_EQ(support::Contents(marker_), "another's");
  on_flock = [] { return FailWith(EWOULDBLOCK); };
  ASSERT_EQ(std::remove(marker_.c_str()), 0);
  EXPECT_EQ(platform::CreateLocked(marker_.c_str(), "content", 7, 0600), -1);
  EXPECT_EQ(Markers(), std::set<std::string>());
  EXPECT_EQ(Leaked(), "");
}

TEST_F(HangDetectorFault, WithoutALockThereIsNoMarkerOfThisRun) {
  for (const bool has_unnamed : {true, false}) {
    has_unnamed_files = has_unnamed;
    on_flock = [] { return FailWith(ENOLCK); };
    LHangDetector detector;
    detector.InitAndTest();
    EXPECT_FALSE(detector.FoundUncleanEnd());
    EXPECT_EQ(Leaked(), "");
    EXPECT_EQ(Markers(), std::set<std::string>());
  }
}

TEST_F(HangDetectorFault, AFullDiskLeavesAnEmptyMarker) {
  on_write = []() -> ssize_t { return FailWith(ENOSPC); };
  LHangDetector detector, next;
  detector.InitAndTest();
  EXPECT_EQ(support::Contents(marker_), "");
  EXPECT_TRUE(IsHeld());
}

TEST_F(HangDetectorFault, AMarkerThatCannotBeReadCounts) {
  support::MakeFile(marker_, "12345678");
  on_read = []() -> ssize_t { return FailWith(EIO); };
  LHangDetector detector;
  detector.InitAndTest();
  EXPECT_TRUE(detector.FoundUncleanEnd());
  EXPECT_EQ(detector.StaleStartTime(), 0U);
  EXPECT_EQ(Leaked(), "");
}

// Of two runs that start at once and share an unclean end's marker the first one deletes it and, testing once more,
// arms; the second one is still reading.
TEST_F(HangDetectorFault, AMarkerThatHasTakenTheStaleOnesPlaceIsLeftAlone) {
  support::MakeFile(marker_, "12345678");
  LHangDetector first, second;
  bool is_alone = true;
  on_read = [&]() -> ssize_t {
    if (!std::exchange(is_alone, false)) return 0;
    first.InitAndTest();
    first.InitAndTest();
    return 0;
  };
  second.InitAndTest();
  EXPECT_TRUE(second.FoundUncleanEnd());
  EXPECT_FALSE(first.FoundUncleanEnd());
  EXPECT_EQ(Markers(), std::set<std::string>{"_tillvane_rl_somebody"});
  EXPECT_TRUE(IsHeld());
}

// Whoever starts meanwhile takes a marker that is not held for an unclean end.
TEST_F(HangDetectorFault, TheMarkerIsHeldUntilItIsGone) {
  LHangDetector detector;
  detector.InitAndTest();
  int unlinks = 0;
  on_unlink = [&] {
    ++unlinks;
    EXPECT_TRUE(IsHeld());
    return Next(&unlink, "unlink")(marker_.c_str());
  };
  detector.Destroy();
  EXPECT_EQ(unlinks, 1);
  EXPECT_EQ(Leaked(), "");
}

}  // namespace
