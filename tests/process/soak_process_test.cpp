// The soak, shortly: that it passes, that it can fail, and that it ends in good order.

#include <signal.h>
#include <sys/ipc.h>
#include <sys/sem.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;
using testing::HasSubstr;

constexpr unsigned int kEndMs = 120000;

/// Those that this process was the last to use.
int CountSemaphoreSetsOf(pid_t pid) {
  int count = 0;
  std::ifstream table("/proc/sysvipc/sem");
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    long key;
    int set;
    if (fields >> key >> set && semctl(set, 0, GETPID) == pid) ++count;
  }
  return count;
}

class SoakTest : public testing::Test {
 protected:
  /// With the folder of another process's soak, which is not this one's to remove.
  void SetUp() override { others_.Write("kept", ""); }
  void TearDown() override {
    EXPECT_TRUE(std::filesystem::exists(others_.File("kept")));
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path()));
  }

  std::vector<std::string> Environment() const {
    return {"TMPDIR=" + folder_.Path(), "TILLVANE_SOAK_FOLDER=1:" + others_.Path()};
  }
  ProcessResult Run(const std::string& seconds, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> command = {TILLVANE_TEST_SOAK, "--window", "1", "--seconds", seconds};
    command.insert(command.end(), more.begin(), more.end());
    return support::RunProcess(command, kEndMs, Environment());
  }

  const support::TempFolder folder_, others_;
};

TEST_F(SoakTest, PassesAndLeavesNothing) {
  const ProcessResult result = Run("4");
  EXPECT_EQ(result.exit_code, 0) << result.output << result.errors;
  EXPECT_THAT(result.output, HasSubstr("soak: passed after "));
  // Of memory it says nothing after so few quiet points.
  EXPECT_THAT(result.output, HasSubstr("; too short to tell "));
  EXPECT_EQ(result.errors, "");
}

// It ends at the first quiet point that shows them, long before the time is over.
TEST_F(SoakTest, FindsEverythingCountedThatIsLost) {
  const ProcessResult result = Run("100", {"--leak", "child", "--leak", "descriptor", "--leak", "file", "--leak",
                                           "semaphore", "--leak", "shared-memory", "--leak", "thread"});
  EXPECT_EQ(result.exit_code, 1) << result.output << result.errors;
  EXPECT_THAT(result.output, HasSubstr("soak: FAILED after "));
  for (const char* const lost : {": descriptors: ", "; threads: ", "; semaphores: ", "; shared memory: ",
                                 "; children: ", "; files: ", "; new descriptors: /dev/null ("}) {
    EXPECT_THAT(result.output, HasSubstr(lost));
  }
}

// Its trend needs some quiet points, however long they take.
TEST_F(SoakTest, FindsMemoryThatIsLost) {
  constexpr auto quiet_points = 2 + 9;
  ChildProcess soak({TILLVANE_TEST_SOAK, "--window", "1", "--leak", "memory", "--leak", "mapping"}, Environment());
  const support::Stopwatch watch;
  const auto lines = [&] { return std::count(soak.Output().begin(), soak.Output().end(), '\n'); };
  while (lines() < quiet_points && watch.Ms() < kEndMs && !soak.WaitForEnd(100)) continue;
  soak.Signal(SIGTERM);
  ASSERT_TRUE(soak.WaitForEnd(kEndMs));
  EXPECT_EQ(soak.ExitCode(), 1) << soak.Output();
  EXPECT_THAT(soak.Output(), HasSubstr(": number of blocks in use has grown by "));
  EXPECT_THAT(soak.Output(), HasSubstr("; mapped memory has grown by "));
}

TEST_F(SoakTest, EndsAndSaysWhoHangs) {
  const ProcessResult result = Run("100", {"--leak", "hang", "--patience", "3"});
  EXPECT_EQ(result.exit_code, 1) << result.output << result.errors;
  EXPECT_THAT(result.output, HasSubstr("soak: FAILED after "));
  // On a busy machine others may be as slow.
  EXPECT_THAT(result.output, testing::ContainsRegex(": no end of a round of:.* leak"));
}

TEST_F(SoakTest, EndsWhenTheMainThreadHangs) {
  ChildProcess soak({TILLVANE_TEST_SOAK, "--leak", "main-hang", "--patience", "3"}, Environment());
  const pid_t pid = soak.Pid();
  ASSERT_TRUE(soak.WaitForEnd(kEndMs)) << soak.Describe();
  EXPECT_EQ(soak.ExitCode(), 1) << soak.Errors();
  EXPECT_THAT(soak.Output(), HasSubstr(" s: the main thread stands still\n"));
  EXPECT_EQ(CountSemaphoreSetsOf(pid), 0);
}

TEST_F(SoakTest, StoppedBeforeItHasBegunItLeavesNothing) {
  for (int ms = 0; ms <= 24; ms += 4) {
    ChildProcess soak({TILLVANE_TEST_SOAK, "--window", "1"}, Environment());
    support::SleepMs(ms);
    soak.Signal(SIGTERM);
    ASSERT_TRUE(soak.WaitForEnd(kEndMs)) << ms;
    EXPECT_TRUE(std::filesystem::is_empty(folder_.Path())) << ms;
  }
}

TEST_F(SoakTest, UnderNohupGoesOnWithoutItsTerminal) {
  void (*const before)(int) = signal(SIGHUP, SIG_IGN);
  ChildProcess soak({TILLVANE_TEST_SOAK, "--window", "1"}, Environment());
  signal(SIGHUP, before);
  ASSERT_TRUE(soak.WaitForOutput("rounds: store", kEndMs));
  soak.Signal(SIGHUP);
  // One that was to end would not come so far.
  const auto lines = [&soak] { return std::count(soak.Output().begin(), soak.Output().end(), '\n'); };
  const support::Stopwatch watch;
  while (lines() < 4 && watch.Ms() < kEndMs && !soak.WaitForEnd(100)) continue;
  EXPECT_GE(lines(), 4);
  EXPECT_THAT(soak.Output(), testing::Not(HasSubstr("stopped early")));
  soak.Signal(SIGTERM);
  EXPECT_TRUE(soak.WaitForEnd(kEndMs));
  EXPECT_EQ(soak.ExitCode(), 0) << soak.Output();
}

class SoakSignal : public SoakTest, public testing::WithParamInterface<int> {};

TEST_P(SoakSignal, EndsItWithItsReport) {
  // Who started the tests may ignore it.
  void (*const before)(int) = signal(GetParam(), SIG_DFL);
  ChildProcess soak({TILLVANE_TEST_SOAK, "--window", "1"}, Environment());
  signal(GetParam(), before);
  ASSERT_TRUE(soak.WaitForOutput("rounds: store", kEndMs));
  const support::Stopwatch watch;
  do soak.Signal(GetParam());
  while (!soak.WaitForEnd(500) && watch.Ms() < kEndMs);
  EXPECT_EQ(soak.ExitCode(), 0) << soak.Output();
  EXPECT_THAT(soak.Output(), HasSubstr(", stopped early: no "));
}

INSTANTIATE_TEST_SUITE_P(Each, SoakSignal, testing::Values(SIGHUP, SIGINT, SIGTERM));

TEST_F(SoakTest, RefusesWhatItDoesNotKnow) {
  EXPECT_EQ(Run("0").exit_code, 2);
  EXPECT_EQ(Run("1", {"--leak", "nothing"}).exit_code, 2);
  EXPECT_EQ(Run("1", {"--much"}).exit_code, 2);
  EXPECT_EQ(Run("1", {"--leak"}).exit_code, 2);
  EXPECT_EQ(Run("1", {"--patience", "0"}).exit_code, 2);
}

}  // namespace
