// Another process holds the lock of a text file.

#include <signal.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/text/LTextFile.h>

namespace {

using support::ChildProcess;
using support::kAtOnceMs;
using support::kLongMs;
using support::Later;
using support::Stopwatch;

const std::string kHelper = TILLVANE_TEST_HELPER;

class TextFileProcess : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(holder_.WaitForOutput("held", kLongMs)) << holder_.Errors(); }

  const support::TempFolder folder_;
  const std::string path_ = folder_.Write("file", "text");
  const char* const file_ = path_.c_str();
  ChildProcess holder_{{kHelper, "flock", path_}};
};

TEST_F(TextFileProcess, ALoaderWaitsASecondAndGoesOn) {
  const Stopwatch watch;
  LStringLong text;
  EXPECT_EQ(LLoadText(file_, text), 1);
  EXPECT_STREQ(text.c_str(), "text");
  EXPECT_GE(watch.Ms(), 992);
  EXPECT_LT(watch.Ms(), 992 + kAtOnceMs);
}

TEST_F(TextFileProcess, ASaverWaitsHalfASecondAndGoesOn) {
  const Stopwatch watch;
  LSaveText(file_, "new");
  EXPECT_GE(watch.Ms(), 496);
  EXPECT_LT(watch.Ms(), 496 + kAtOnceMs);
  LSaveAppendText(file_, "er");
  EXPECT_GE(watch.Ms(), 2 * 496);
  EXPECT_LT(watch.Ms(), 2 * 496 + kAtOnceMs);
  LStringLong text;
  EXPECT_EQ(LLoadText(file_, text), 1);
  EXPECT_STREQ(text.c_str(), "newer");
}

TEST_F(TextFileProcess, BothGoOnWhenTheLockIsGivenBack) {
  const Stopwatch watch;
  const Later later(40, [&] { holder_.Signal(SIGUSR1); });
  LStringLong text;
  EXPECT_EQ(LLoadText(file_, text), 1);
  EXPECT_GE(watch.Ms(), 40);
  LSaveText(file_, "new");
  EXPECT_EQ(LLoadText(file_, text), 1);
  EXPECT_STREQ(text.c_str(), "new");
}

}  // namespace
