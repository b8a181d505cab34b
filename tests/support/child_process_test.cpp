#include <tests/support/child_process.h>

#include <signal.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>

#include <gtest/gtest.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;
using support::RunProcess;

constexpr unsigned int kLongMs = 60000;

ProcessResult RunHelper(const std::string& what, const std::string& argument = "",
                        const std::vector<std::string>& environment = {}) {
  return RunProcess({TILLVANE_TEST_HELPER, what, argument}, kLongMs, environment);
}

TEST(ChildProcess, TellsHowItEnded) {
  struct Case {
    const char *what, *argument;
    int exit_code, signal;
  };
  for (const Case& c : {Case{"exit", "0", 0, -1}, Case{"exit", "7", 7, -1}, Case{"signal", "9", -1, 9}}) {
    const ProcessResult result = RunHelper(c.what, c.argument);
    EXPECT_TRUE(result.ended) << c.what << ' ' << c.argument;
    EXPECT_EQ(result.exit_code, c.exit_code) << c.what << ' ' << c.argument;
    EXPECT_EQ(result.signal, c.signal) << c.what << ' ' << c.argument;
  }
}

TEST(ChildProcess, CollectsMoreThanAPipeHolds) {
  const ProcessResult result = RunHelper("write", "300000");
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.output, std::string(300000, 'o'));
  EXPECT_EQ(result.errors, "an error");
}

TEST(ChildProcess, HasTheEnvironmentWithAdditions) {
  EXPECT_EQ(RunHelper("environment", "TILLVANE_TEST_WORD", {"TILLVANE_TEST_WORD=yes"}).output, "yes");
  EXPECT_EQ(RunHelper("environment", "PATH", {"PATH=/here"}).output, "/here");
  EXPECT_EQ(RunHelper("environment", "PATH", {"PAT=/here"}).output, std::getenv("PATH"));
}

TEST(ChildProcess, HasNoInput) { EXPECT_EQ(RunHelper("input").exit_code, 0); }

TEST(ChildProcess, IsNotStartedWithoutAProgram) {
  ChildProcess child({"/nonexistent/program"});
  EXPECT_FALSE(child.IsStarted());
  EXPECT_FALSE(child.WaitForEnd(kLongMs));
  EXPECT_FALSE(child.WaitForOutput("x", kLongMs));
  EXPECT_EQ(child.ExitCode(), -1);
  EXPECT_EQ(child.EndingSignal(), -1);
}

TEST(ChildProcess, IsEndedWhenItRunsTooLong) {
  const ProcessResult result = RunProcess({TILLVANE_TEST_HELPER, "hang"}, 50);
  EXPECT_FALSE(result.ended);
  EXPECT_EQ(result.signal, SIGKILL);
}

TEST(ChildProcess, CanBeWatchedAndSignalled) {
  ChildProcess child({TILLVANE_TEST_HELPER, "hang"});
  ASSERT_TRUE(child.WaitForOutput("ready", kLongMs));
  EXPECT_FALSE(child.WaitForOutput("never", 20));
  EXPECT_FALSE(child.WaitForEnd(20));
  EXPECT_EQ(child.ExitCode(), -1);
  child.Signal(SIGTERM);
  ASSERT_TRUE(child.WaitForEnd(kLongMs));
  EXPECT_EQ(child.EndingSignal(), SIGTERM);
}

TEST(ChildProcess, NoneIsLeftBehind) {
  { const ChildProcess child({TILLVANE_TEST_HELPER, "hang"}); }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

}  // namespace
