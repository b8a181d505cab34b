#include <signal.h>

#include <gtest/gtest.h>

#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/system/LCommandLineProcess.h>

namespace {

TEST(CommandLineProcess, IsTrueOfAnEndWithCodeZeroOnly) {
  struct Case {
    const char* command;
    bool answer;
  };
  const Case cases[] = {
      {"exit 0", true},
      {"", true},
      {"false || true", true},
      {"(exit 3); exit 0", true},
      {"exit 3", false},
      {"exit 1", false},
      {"exit 255", false},
      // Of the code only the low byte is seen.
      {"exit 256", true},
      {"false", false},
      {"kill -KILL $$", false},
      {"kill -TERM $$", false},
      // A shell inside says of a signal 128 and its number.
      {"sh -c 'kill -TERM $$'; exit $?", false},
      {"/nonexistent/command 2>/dev/null", false},
      {"if 2>/dev/null", false},
  };
  for (const Case& one : cases) EXPECT_EQ(RunCommandLineProcess(one.command), one.answer) << one.command;
}

TEST(CommandLineProcess, WaitsForTheEnd) {
  const support::TempFolder folder;
  EXPECT_TRUE(RunCommandLineProcess(("sleep 0.05; : >" + folder.File("done")).c_str()));
  EXPECT_TRUE(RunCommandLineProcess(("test -e " + folder.File("done")).c_str()));
}

TEST(CommandLineProcess, AnEndThatIsIgnoredIsNoSuccess) {
  const support::HandlerScope ignored(SIGCHLD, SIG_IGN);
  EXPECT_FALSE(RunCommandLineProcess("exit 0"));
}

}  // namespace
