// How the library's signal handlers end a process, or do not: see crash_signals_child.cpp.

#include <signal.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;

constexpr unsigned int kLongMs = 60000;
/// Long enough to see that something goes on.
constexpr unsigned int kShortMs = 200;
/// What 666 is to a parent.
constexpr int kFatal = 154;
/// The child came to its own end.
constexpr int kOwnEnd = 3;

ProcessResult RunChild(const std::string& mode, const std::string& argument = "") {
  return support::RunProcess({TILLVANE_TEST_HELPER, mode, argument}, kLongMs);
}

ProcessResult RunChild(const std::string& mode, int argument) { return RunChild(mode, std::to_string(argument)); }

// --- Fatal signals ---

TEST(CrashSignals, AreInstalledAsTheyShould) {
  const ProcessResult child = RunChild("handlers");
  EXPECT_EQ(child.output,
            "SIGINT LIntTermSignalHandler SA_SIGINFO all masked\n"
            "SIGQUIT LDebugSignalHandler SA_SIGINFO all masked\n"
            "SIGILL LDebugSignalHandler SA_SIGINFO all masked\n"
            "SIGBUS LDebugSignalHandler SA_SIGINFO all masked\n"
            "SIGFPE LDebugSignalHandler SA_SIGINFO all masked\n"
            "SIGSEGV LDebugSignalHandler SA_SIGINFO all masked\n"
            "SIGPIPE ignored SA_RESTART all masked\n"
            "SIGTERM LIntTermSignalHandler SA_SIGINFO all masked\n"
            "left\n");
}

/// Called as a function, so that those are seen too for which it is not installed.
TEST(CrashSignals, FiveOfAllEndTheProcess) {
  for (int number = 0; number <= SIGSYS; ++number) {
    const bool ends =
        number == SIGABRT || number == SIGFPE || number == SIGKILL || number == SIGBUS || number == SIGSEGV;
    const ProcessResult child = RunChild("call", number);
    EXPECT_EQ(child.exit_code, ends ? kFatal : kOwnEnd) << number;
    EXPECT_EQ(child.output, ends ? "" : "returned, trapped 1, errno kept\nleft\n") << number;
  }
}

TEST(CrashSignals, ARaisedOneEndsTheProcessWithoutAnythingElse) {
  for (const int number : {SIGFPE, SIGSEGV, SIGBUS}) {
    for (const std::string mode : {"raise", "raise-on-thread"}) {
      const ProcessResult child = RunChild(mode, number);
      EXPECT_EQ(child.exit_code, kFatal) << mode << ' ' << number;
      EXPECT_EQ(child.output, "") << mode << ' ' << number;
      EXPECT_EQ(child.errors, "") << mode << ' ' << number;
    }
  }
}

TEST(CrashSignals, QuitAndAnIllegalInstructionAreTrappedAndReturn) {
  for (const int number : {SIGQUIT, SIGILL}) {
    for (const std::string mode : {"raise", "raise-on-thread"}) {
      const ProcessResult child = RunChild(mode, number);
      EXPECT_EQ(child.exit_code, kOwnEnd) << mode << ' ' << number;
      EXPECT_EQ(child.output, "went on, trapped 1\nleft\n") << mode << ' ' << number;
    }
  }
}

TEST(CrashSignals, ASecondOneReturnsAtOnce) {
  for (const int number : {SIGQUIT, SIGILL, SIGFPE, SIGSEGV, SIGBUS}) {
    const ProcessResult child = RunChild("raise-after-quit", number);
    EXPECT_EQ(child.exit_code, kOwnEnd) << number;
    EXPECT_EQ(child.output, "went on, trapped 1\nleft\n") << number;
  }
}

TEST(CrashSignals, AbortIsLeftToTheSystem) {
  const ProcessResult child = RunChild("raise", SIGABRT);
  EXPECT_EQ(child.signal, SIGABRT);
}

TEST(CrashSignals, ARealFaultEndsTheProcess) {
  for (const std::string fault : {"segv", "bus", "fpe"}) {
    for (const std::string mode : {"fault", "fault-on-thread"}) {
      const ProcessResult child = RunChild(mode, fault);
      EXPECT_EQ(child.exit_code, kFatal) << mode << ' ' << fault;
      EXPECT_EQ(child.output, "ready\n") << mode << ' ' << fault;
    }
  }
}

void ExpectToGoOnForEver(const std::string& mode, const std::string& fault) {
  SCOPED_TRACE(mode + ' ' + fault);
  ChildProcess child({TILLVANE_TEST_HELPER, mode, fault});
  EXPECT_TRUE(child.WaitForOutput("ready\n", kLongMs));
  EXPECT_FALSE(child.WaitForEnd(kShortMs));
  EXPECT_EQ(child.Output(), "ready\n");
  child.Signal(SIGKILL);
  EXPECT_TRUE(child.WaitForEnd(kLongMs));
  EXPECT_EQ(child.EndingSignal(), SIGKILL);
}

// The handler returns to the instruction that faulted.
TEST(CrashSignals, ARealFaultWhoseHandlerReturnsGoesOnForEver) {
  ExpectToGoOnForEver("fault", "ill");
  ExpectToGoOnForEver("fault-after-quit", "segv");
}

// --- Interruption and termination ---

class IntTerm : public testing::TestWithParam<int> {};

/// Sends the signal to a child that says "ready".
void ExpectEnd(const std::string& mode, int number, const std::string& output, int code) {
  SCOPED_TRACE(mode);
  ChildProcess child({TILLVANE_TEST_HELPER, mode});
  ASSERT_TRUE(child.WaitForOutput("ready\n", kLongMs));
  // It goes to sleep meanwhile: the request must wake it.
  EXPECT_FALSE(child.WaitForEnd(50));
  child.Signal(number);
  EXPECT_TRUE(child.WaitForEnd(kLongMs));
  EXPECT_EQ(child.ExitCode(), code);
  EXPECT_EQ(child.Output(), "ready\n" + output);
}

TEST_P(IntTerm, EndsAWait) { ExpectEnd("wait", GetParam(), "waited 2\nleft\n", kOwnEnd); }

TEST_P(IntTerm, EndsAHostsBracketedLoop) { ExpectEnd("glib", GetParam(), "loop ended\nleft\n", kOwnEnd); }

TEST_P(IntTerm, WithoutARunLoopTheProcessExits) { ExpectEnd("rest", GetParam(), "left\n", 0); }

TEST_P(IntTerm, OnAnyThreadItEndsTheMainThreadsWait) {
  const ProcessResult child = RunChild("wait-thread", GetParam());
  EXPECT_EQ(child.exit_code, kOwnEnd);
  EXPECT_EQ(child.output, "ready\nwaited 2\nleft\n");
}

TEST_P(IntTerm, AnExitIsNotBegunAgain) {
  const ProcessResult child = RunChild("interrupt-exit", GetParam());
  EXPECT_EQ(child.exit_code, 0);
  EXPECT_EQ(child.output, "leaving\nleft\n");
}

TEST_P(IntTerm, AWaitDuringAnExitIsARunLoopLikeOthers) { ExpectEnd("wait-at-exit", GetParam(), "waited 2\nleft\n", 0); }

INSTANTIATE_TEST_SUITE_P(Signals, IntTerm, testing::Values(SIGINT, SIGTERM),
                         [](const auto& each) { return each.param == SIGINT ? "Int" : "Term"; });

TEST(IntTermHandler, KnowsNoOtherSignal) {
  for (const int number : {0, SIGHUP, SIGQUIT, SIGSEGV, SIGUSR1}) {
    const ProcessResult child = RunChild("call-int-term", number);
    EXPECT_EQ(child.exit_code, kOwnEnd) << number;
    EXPECT_EQ(child.output, "returned, errno kept\nleft\n") << number;
  }
}

// --- Pipes ---

TEST(BrokenPipe, IsAnErrorAndNoSignal) { EXPECT_EQ(RunChild("pipe").output, "refused\nleft\n"); }

}  // namespace
