#include <pthread.h>
#include <signal.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LProcessRun.h>

namespace {

struct Answer {
  int result, exit_code;
};

/// Runs a command as a requester does, and waits for the thread.
Answer RunCommand(const char* command) {
  auto* const data = new ProcessRunData;
  EXPECT_EQ(data->result, 1);
  EXPECT_EQ(data->exitCode, -1);
  if (command != nullptr) data->command = command;
  pthread_t thread;
  EXPECT_EQ(pthread_create(&thread, nullptr, ProcessRunThreadCallback, data), 0);
  EXPECT_TRUE(data->done.WaitSignal(support::kLongMs));
  const Answer answer{data->result, data->exitCode};
  data->release.Signal();
  pthread_join(thread, nullptr);
  return answer;
}

struct Case {
  const char* command;
  int exit_code;
};

TEST(ProcessRun, TellsTheExitCode) {
  const Case cases[] = {{"true", 0}, {"false", 1},          {"exit 3", 3}, {"exit 255", 255},       {"kill -9 $$", -1},
                        {"", 0},     {"/nonexistent", 127}, {nullptr, 0},  {"exec 0<&-; exit 4", 4}};
  for (const Case& one : cases) {
    const Answer answer = RunCommand(one.command);
    EXPECT_EQ(answer.result, 0) << one.command;
    EXPECT_EQ(answer.exit_code, one.exit_code) << one.command;
  }
}

TEST(ProcessRun, TheShellReadsTheCommand) {
  const support::TempFolder folder;
  const std::string file = folder.File("a b");
  EXPECT_EQ(RunCommand(("echo \"$((1 + 1))\" >'" + file + "'; test \"$(cat '" + file + "')\" = 2").c_str()).exit_code,
            0);
}

TEST(ProcessRun, StandardInputIsEmpty) { EXPECT_EQ(RunCommand("test -z \"$(cat)\"").exit_code, 0); }

TEST(ProcessRun, WhereChildrensEndsAreIgnoredThereIsNoExitCode) {
  struct sigaction ignore = {}, before = {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGCHLD, &ignore, &before);
  const Answer answer = RunCommand("exit 3");
  sigaction(SIGCHLD, &before, nullptr);
  EXPECT_EQ(answer.result, 0);
  EXPECT_EQ(answer.exit_code, -1);
}

TEST(ProcessRun, WhoGivesUpOnlyReleases) {
  const support::TempFolder folder;
  const std::string go = folder.File("go");
  auto* const data = new ProcessRunData;
  data->command = ("while ! test -e '" + go + "'; do sleep 0.01; done").c_str();
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, nullptr, ProcessRunThreadCallback, data), 0);
  EXPECT_FALSE(data->done.WaitSignal(10));
  data->release.Signal();
  folder.Write("go", "");
  pthread_join(thread, nullptr);
}

TEST(ProcessRun, AnInterruptionIsNoRelease) {
  auto* const data = new ProcessRunData;
  const support::HandlerScope handler(SIGUSR1, [](int) {});
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, nullptr, ProcessRunThreadCallback, data), 0);
  ASSERT_TRUE(data->done.WaitSignal(support::kLongMs));
  for (int i = 0; i < 20; ++i) {
    pthread_kill(thread, SIGUSR1);
    support::SleepMs(1);
  }
  EXPECT_EQ(pthread_tryjoin_np(thread, nullptr), EBUSY);
  data->release.Signal();
  pthread_join(thread, nullptr);
}

}  // namespace
