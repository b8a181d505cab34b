// The worker example, as its user runs it.

#include <signal.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/process/terminal_child.h>
#include <tests/support/child_process.h>

namespace {

using support::ChildProcess;
using support::ProcessResult;
using support::TerminalChild;
using testing::HasSubstr;
using testing::Not;

constexpr unsigned int kEndMs = 50000;

ProcessResult RunWorker(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), TILLVANE_TEST_WORKER);
  return support::RunProcess(arguments, kEndMs, {"LC_ALL=C", "TERM=xterm"});
}

TEST(WorkerExample, CountsWithSeveralThreads) {
  for (const char* threads : {"1", "4", "60"}) {
    const ProcessResult result = RunWorker({"--below", "100000", "--threads", threads});
    EXPECT_EQ(result.exit_code, 0) << threads;
    EXPECT_THAT(result.output, HasSubstr("9592 primes below 100000, in 10 blocks\n")) << threads;
    EXPECT_THAT(result.output, HasSubstr("  100 %\n")) << threads;
    EXPECT_EQ(result.errors, "");
  }
}

TEST(WorkerExample, CountsTheSmallestRange) {
  EXPECT_THAT(RunWorker({"--below", "2"}).output, HasSubstr("0 primes below 2, in 1 blocks\n"));
  EXPECT_THAT(RunWorker({"--below", "4", "--threads", "3"}).output, HasSubstr("2 primes below 4, in 1 blocks\n"));
}

TEST(WorkerExample, CtrlCAndSigTermStopTheThreads) {
  for (const int request : {SIGINT, SIGTERM}) {
    ChildProcess child({TILLVANE_TEST_WORKER, "--below", "100000000", "--threads", "8"}, {"LC_ALL=C"});
    ASSERT_TRUE(child.WaitForOutput("counting", kEndMs)) << request;
    child.Signal(request);
    ASSERT_TRUE(child.WaitForEnd(kEndMs)) << request << '\n' << child.Describe();
    EXPECT_EQ(child.ExitCode(), 130) << request;
    EXPECT_THAT(child.Output(), HasSubstr("of 10000 blocks\n")) << request;
  }
}

/// "worker 1 counts from 20000" on a screen: who counts each block. Nothing when two count the same one.
std::map<unsigned int, unsigned int> BlocksOnScreen(const std::string& screen) {
  std::map<unsigned int, unsigned int> blocks;
  for (std::size_t at = 0; (at = screen.find("worker ", at)) != std::string::npos; ++at) {
    unsigned int worker, block;
    char last;
    // The last one may have come in part.
    if (std::sscanf(screen.c_str() + at, "worker %u counts from %u%c", &worker, &block, &last) != 3) continue;
    if (blocks.emplace(block, worker).first->second != worker) return {};
  }
  return blocks;
}

TEST(WorkerExample, AtATerminalOneLineMoves) {
  TerminalChild child({TILLVANE_TEST_WORKER, "--below", "100000000", "--threads", "2"}, {"LC_ALL=C", "TERM=xterm"});
  for (const char* text : {"worker 1 counts from ", "worker 2 counts from ", "worker 1 counts from "}) {
    EXPECT_TRUE(child.WaitFor(std::string("%  ") + text, kEndMs)) << text;
  }
  child.Type("\x03");
  EXPECT_EQ(child.WaitForEnd(kEndMs), 130);
  EXPECT_GE(BlocksOnScreen(child.Screen()).size(), 2u) << "each block is one worker's";
}

TEST(WorkerExample, TooManyThreadsAreOneClearError) {
  const ProcessResult result =
      support::RunProcess({"/bin/sh", "-c", "ulimit -n 100; exec '" TILLVANE_TEST_WORKER "' --threads 50"}, kEndMs);
  EXPECT_EQ(result.exit_code, 1);
  EXPECT_EQ(result.errors, "worker: the system has no room for so many threads\n");
  EXPECT_THAT(result.output, Not(HasSubstr("primes below 3000000, in")));
}

TEST(WorkerExample, WrongUseIsRefused) {
  const std::vector<std::vector<std::string>> wrong = {
      {"--threads"}, {"--threads", "0"}, {"--threads", "1001"}, {"--threads", "2x"},        {"--below", "1"},
      {"--below"},   {"--below", "-5"},  {"--below", ""},       {"--below", "99999999999"}, {"primes"}};
  for (const auto& arguments : wrong) {
    const ProcessResult result = RunWorker(arguments);
    EXPECT_EQ(result.exit_code, 2) << arguments.back();
    EXPECT_THAT(result.errors, HasSubstr("worker: ")) << arguments.back();
    EXPECT_EQ(result.output, "");
  }
}

TEST(WorkerExample, HelpNamesTheFlags) {
  const ProcessResult result = RunWorker({"--help"});
  EXPECT_EQ(result.exit_code, 0);
  for (const char* flag : {"--below", "--threads", "--help"}) EXPECT_THAT(result.output, HasSubstr(flag));
}

}  // namespace
