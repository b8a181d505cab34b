// Hosts in processes of their own: see event_loop_host.cpp.

#include <signal.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;
using support::RunProcess;

constexpr unsigned int kLongMs = 60000;

TEST(EventLoopProcess, HostsThatNeedNoHelp) {
  for (const std::string name :
       {"glib", "glib-rest", "glib-beside", "plain", "plain-wait", "stop-nothing", "stop-often", "main-thread"}) {
    SCOPED_TRACE(name);
    const ProcessResult result = RunProcess({TILLVANE_TEST_HELPER, name}, kLongMs);
    EXPECT_TRUE(result.ended);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.errors, "");
  }
}

TEST(EventLoopProcess, ASignalHandlerStopsTheRunLoop) {
  for (const std::string name : {"stop-glib", "stop-plain", "stop-wait"}) {
    SCOPED_TRACE(name);
    ChildProcess child({TILLVANE_TEST_HELPER, name});
    ASSERT_TRUE(child.WaitForOutput("ready\n", kLongMs));
    // The host goes to sleep meanwhile: the request must wake it.
    EXPECT_FALSE(child.WaitForEnd(50));
    child.Signal(SIGTERM);
    EXPECT_TRUE(child.WaitForEnd(kLongMs));
    EXPECT_EQ(child.ExitCode(), 0);
    EXPECT_EQ(child.Errors(), "");
  }
}

TEST(EventLoopProcess, APauseOfAllBitsIsAPauseLikeOthers) {
  ChildProcess child({TILLVANE_TEST_HELPER, "pause"});
  ASSERT_TRUE(child.WaitForOutput("ready\n", kLongMs));
  EXPECT_FALSE(child.WaitForEnd(100));
  for (int i = 0; i < 3; ++i) {
    child.Signal(SIGUSR1);
    EXPECT_FALSE(child.WaitForEnd(30)) << "a signal handler ended it";
  }
  child.Signal(SIGKILL);
  EXPECT_TRUE(child.WaitForEnd(kLongMs));
  EXPECT_EQ(child.EndingSignal(), SIGKILL);
}

}  // namespace
