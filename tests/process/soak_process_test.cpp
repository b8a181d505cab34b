// The soak, shortly: that it passes, that it can fail, and that it ends in good order.

#include <signal.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;
using testing::HasSubstr;

constexpr unsigned int kEndMs = 200000;

class SoakTest : public testing::Test {
 protected:
  std::vector<std::string> Environment() const { return {"TMPDIR=" + folder_.Path()}; }
  ProcessResult Run(const std::string& seconds, const std::vector<std::string>& more = {}) const {
    std::vector<std::string> command = {TILLVANE_TEST_SOAK, "--window", "1", "--seconds", seconds};
    command.insert(command.end(), more.begin(), more.end());
    return support::RunProcess(command, kEndMs, Environment());
  }
  bool HasLeftNothing() const { return std::filesystem::is_empty(folder_.Path()); }

  const support::TempFolder folder_;
};

TEST_F(SoakTest, PassesAndLeavesNothing) {
  const ProcessResult result = Run("5");
  EXPECT_EQ(result.exit_code, 0) << result.output << result.errors;
  EXPECT_THAT(result.output, HasSubstr("soak: passed after "));
  EXPECT_EQ(result.errors, "");
  EXPECT_TRUE(HasLeftNothing());
}

// It ends at the first quiet point that shows it, long before the time is over.
TEST_F(SoakTest, FindsADescriptorThatIsLost) {
  const ProcessResult result = Run("100", {"--leak", "descriptor"});
  EXPECT_EQ(result.exit_code, 1) << result.output << result.errors;
  EXPECT_THAT(result.output, HasSubstr("soak: FAILED after "));
  EXPECT_THAT(result.output, HasSubstr(": descriptors: "));
  EXPECT_THAT(result.output, HasSubstr(" -> /dev/null"));
  EXPECT_TRUE(HasLeftNothing());
}

class SoakSignal : public SoakTest, public testing::WithParamInterface<int> {};

TEST_P(SoakSignal, EndsItWithItsReport) {
  ChildProcess soak({TILLVANE_TEST_SOAK, "--window", "1"}, Environment());
  ASSERT_TRUE(soak.WaitForOutput("rounds: store", kEndMs));
  soak.Signal(GetParam());
  ASSERT_TRUE(soak.WaitForEnd(kEndMs));
  EXPECT_EQ(soak.ExitCode(), 0) << soak.Output();
  EXPECT_THAT(soak.Output(), HasSubstr(", stopped early: nothing grew"));
  EXPECT_TRUE(HasLeftNothing());
}

INSTANTIATE_TEST_SUITE_P(Each, SoakSignal, testing::Values(SIGINT, SIGTERM));

TEST_F(SoakTest, RefusesWhatItDoesNotKnow) {
  EXPECT_EQ(Run("0").exit_code, 2);
  EXPECT_EQ(Run("1", {"--leak", "nothing"}).exit_code, 2);
  EXPECT_EQ(Run("1", {"--much"}).exit_code, 2);
  EXPECT_EQ(Run("1", {"--leak"}).exit_code, 2);
}

}  // namespace
