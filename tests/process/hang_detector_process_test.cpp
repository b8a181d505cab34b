// How runs end, and what the next one finds.

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>

namespace {

using support::ChildProcess;
using support::kLongMs;
using support::ProcessResult;

const std::string kHelper = TILLVANE_TEST_HELPER;
constexpr const char* kNothing = "found 0, began 0\n";

class HangDetectorProcess : public testing::Test {
 protected:
  std::vector<std::string> Environment() const { return {"TMPDIR=" + folder_.Path(), "LOGNAME=somebody"}; }
  ProcessResult Run(const std::string& end, const std::string& argument = "") const {
    return support::RunProcess({kHelper, end, argument}, kLongMs, Environment());
  }
  std::set<std::string> Markers() const { return support::Tree(folder_.Path()); }
  unsigned int StartTime() const {
    std::uint32_t seconds = 0;
    std::memcpy(&seconds, support::Contents(marker_).data(), sizeof seconds);
    return seconds;
  }
  std::string Found(unsigned int start_time) const { return "found 1, began " + std::to_string(start_time) + '\n'; }

  /// The next run says that it found the marker that is there, and takes it away.
  void ExpectUncleanEnd() const {
    ASSERT_EQ(Markers(), std::set<std::string>{"_tillvane_rl_somebody"});
    ASSERT_EQ(std::filesystem::file_size(marker_), 8U);
    const std::string found = Found(StartTime());
    const ProcessResult next = Run("_exit");
    EXPECT_EQ(next.output, found);
    EXPECT_EQ(Markers(), std::set<std::string>()) << "that run has no marker of its own";
  }

  const support::TempFolder folder_;
  const std::string marker_ = folder_.File("_tillvane_rl_somebody");
};

TEST_F(HangDetectorProcess, ACleanEndLeavesNothing) {
  for (const char* end : {"return", "exit", "destroy"}) {
    SCOPED_TRACE(end);
    const ProcessResult run = Run(end);
    EXPECT_EQ(run.output, kNothing);
    EXPECT_EQ(run.exit_code, 0);
    EXPECT_EQ(Markers(), std::set<std::string>());
  }
}

TEST_F(HangDetectorProcess, ASignalThatEndsTheProcessLeavesTheMarker) {
  struct Case {
    int signal;
    int exit_code, ended_by;
  };
  // SIGQUIT and SIGILL do nothing: the run goes on until it is killed.
  for (const Case& one :
       {Case{SIGFPE, 154, -1}, Case{SIGSEGV, 154, -1}, Case{SIGBUS, 154, -1}, Case{SIGABRT, -1, SIGABRT},
        Case{SIGKILL, -1, SIGKILL}, Case{SIGQUIT, -1, SIGKILL}, Case{SIGILL, -1, SIGKILL}}) {
    SCOPED_TRACE(one.signal);
    const auto before = static_cast<unsigned int>(std::time(nullptr));
    const ProcessResult run = Run("raise", std::to_string(one.signal));
    EXPECT_EQ(run.output, kNothing);
    EXPECT_EQ(run.exit_code, one.exit_code);
    EXPECT_EQ(run.signal, one.ended_by);
    EXPECT_GE(StartTime(), before);
    EXPECT_LE(StartTime(), static_cast<unsigned int>(std::time(nullptr)));
    ExpectUncleanEnd();
  }
}

TEST_F(HangDetectorProcess, SoDoesARealFault) {
  for (const char* fault : {"segv", "bus"}) {
    SCOPED_TRACE(fault);
    EXPECT_NE(Run("fault", fault).exit_code, 0);
    ExpectUncleanEnd();
  }
}

TEST_F(HangDetectorProcess, SoDoesAnEndWithoutDestructors) {
  EXPECT_EQ(Run("_exit").output, kNothing);
  ExpectUncleanEnd();
}

TEST_F(HangDetectorProcess, InterruptionAndTerminationAreCleanEnds) {
  for (const int signal : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(signal);
    EXPECT_EQ(Run("raise", std::to_string(signal)).exit_code, 0);
    EXPECT_EQ(Markers(), std::set<std::string>());
  }
}

TEST_F(HangDetectorProcess, AMarkerThatAPowerCutEmptiedCounts) {
  for (const std::size_t size : {0u, 1u, 4u, 7u}) {
    SCOPED_TRACE(size);
    support::MakeFile(marker_, std::string(size, '\1'));
    EXPECT_EQ(Run("return").output, Found(0));
    EXPECT_EQ(Markers(), std::set<std::string>());
  }
}

TEST_F(HangDetectorProcess, ARunThatTestsOnceMoreIsArmed) {
  EXPECT_EQ(Run("_exit").output, kNothing);
  const std::string found = Found(StartTime());
  ChildProcess run({kHelper, "again"}, Environment());
  ASSERT_TRUE(run.WaitForEnd(kLongMs));
  EXPECT_EQ(run.Output(), found + kNothing);
  EXPECT_EQ(Markers(), std::set<std::string>());
}

TEST_F(HangDetectorProcess, ASecondInstanceLeavesTheFirstOnesMarkerUntilItsOwnEnd) {
  ChildProcess first({kHelper, "wait"}, Environment());
  ASSERT_TRUE(first.WaitForOutput(kNothing, kLongMs));
  const std::string content = support::Contents(marker_);
  ASSERT_EQ(content.size(), 8U);
  // One that is killed leaves it as it was.
  EXPECT_EQ(Run("_exit").output, kNothing);
  EXPECT_EQ(support::Contents(marker_), content);
  ChildProcess second({kHelper, "wait"}, Environment());
  ASSERT_TRUE(second.WaitForOutput(kNothing, kLongMs));
  EXPECT_EQ(support::Contents(marker_), content);
  second.Signal(SIGUSR1);
  ASSERT_TRUE(second.WaitForEnd(kLongMs));
  EXPECT_EQ(Markers(), std::set<std::string>());
  // The first one leaves no trace then.
  first.Signal(SIGKILL);
  ASSERT_TRUE(first.WaitForEnd(kLongMs));
  EXPECT_EQ(Run("return").output, kNothing);
}

TEST_F(HangDetectorProcess, TheMarkerIsTheUsersAloneWhateverTheMask) {
  for (const char* mask : {"0", "022", "077"}) {
    const std::string command = std::string("umask ") + mask + "; exec '" + kHelper + "' _exit";
    EXPECT_EQ(support::RunProcess({"/bin/sh", "-c", command}, kLongMs, Environment()).output, kNothing);
    EXPECT_EQ(support::Mode(marker_), 0600u) << mask;
    unlink(marker_.c_str());
  }
}

TEST_F(HangDetectorProcess, AnotherUsersMarkerIsLeftAlone) {
  if (geteuid() != 0) GTEST_SKIP() << "only the administrator makes another user's file";
  constexpr unsigned int nobody = 65534;
  for (const bool is_file : {true, false}) {
    support::MakeFile(marker_, "planted!");
    if (!is_file) {
      unlink(marker_.c_str());
      ASSERT_EQ(mkfifo(marker_.c_str(), 0666), 0);
    }
    ASSERT_EQ(chown(marker_.c_str(), nobody, nobody), 0);
    EXPECT_EQ(Run("return").output, kNothing);
    EXPECT_TRUE(support::IsThere(marker_));
    if (is_file) {
      EXPECT_EQ(support::Contents(marker_), "planted!");
    }
    unlink(marker_.c_str());
  }
}

}  // namespace
