// A process that is the administrator's already: nobody is asked. What others see is in tests/process/privilege_….

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/current_folder.h>
#include <tests/support/environment_variable.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/system/LRunCommand.h>

namespace {

using support::EnvironmentVariable;

bool Exists(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

/// Fails the test that is told, asked or waited for anything.
class NobodyIsAsked : public LProcessInterface {
 public:
  bool IsToStop() override { return Note(), true; }
  bool ProcessWait(unsigned int) override { return Note(), true; }
  int ProcessWaitSignal(LSignalObjectRef, unsigned int) override { return Note(), 1; }
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, unsigned int) override { return Note(), 1; }
  void SetError(const char*) override { Note(); }
  void SetStatus(const char*, int) override { Note(); }
  void SetProgress(double) override { Note(); }
  void SetProgressIndeterminateOn() override { Note(); }
  void SetProgressIndeterminateOff() override { Note(); }

 private:
  static void Note() { ADD_FAILURE() << "the process interface was consulted"; }
};

class RunWithPrivilege : public testing::Test {
 protected:
  void SetUp() override {
    if (getuid() != 0) GTEST_SKIP() << "only root is the administrator without being asked";
  }

  /// What the tool writes to standard output.
  template <class... Arguments>
  std::string OutputOf(int result, Arguments&&... arguments) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(LRunCommandWithPrivilege(arguments...), result);
    return testing::internal::GetCapturedStdout();
  }

  NobodyIsAsked process_;
  support::TempFolder folder_;
};

TEST_F(RunWithPrivilege, ALineIsATool) {
  const std::string line = "/usr/bin/touch " + folder_.File("a") + " \"" + folder_.File("b c") + '"';
  EXPECT_EQ(LRunCommandWithPrivilege(process_, line.c_str(), true), 0);
  EXPECT_TRUE(Exists(folder_.File("a")));
  EXPECT_TRUE(Exists(folder_.File("b c")));
}

TEST_F(RunWithPrivilege, EveryFormStartsIt) {
  char user[] = "-u", name[] = "-n";
  char* const own[] = {user, name, nullptr};
  const char* const constant[] = {"-u", "-n", nullptr};
  EXPECT_EQ(OutputOf(0, process_, "/usr/bin/id", own, true), "root\n");
  EXPECT_EQ(OutputOf(0, process_, "/usr/bin/id", constant, true), "root\n");
  EXPECT_EQ(OutputOf(0, process_, "/usr/bin/id -u -n", true), "root\n");
  EXPECT_EQ(OutputOf(true, "/usr/bin/id -u -n", true), "root\n");
  EXPECT_EQ(OutputOf(true, "id -u -n", true), "root\n") << "looked up";
}

TEST_F(RunWithPrivilege, ArgumentsMayBeNoneAndMany) {
  EXPECT_EQ(OutputOf(0, process_, "/bin/echo", static_cast<char* const*>(nullptr), true), "\n");
  EXPECT_EQ(OutputOf(0, process_, "/bin/echo", static_cast<const char* const*>(nullptr), true), "\n");
  EXPECT_EQ(OutputOf(true, "/bin/echo", true), "\n");
  std::vector<const char*> many(1000, "x");
  many.push_back(nullptr);
  EXPECT_EQ(OutputOf(0, process_, "/bin/echo", many.data(), true).size(), 2000U);
  EXPECT_EQ(OutputOf(true, "/bin/echo a \"\" b", true), "a\n") << "an empty argument ends a line";
  EXPECT_EQ(OutputOf(true, "/bin/echo $(id) ; * 'a'", true), "$(id) ; * 'a'\n");
}

TEST_F(RunWithPrivilege, WhatCannotBeStartedIsAFailure) {
  const EnvironmentVariable path("PATH", "/usr/bin:/bin:.");
  folder_.Write("text", "");
  chmod(folder_.Write("relative", "#!/bin/sh\ntouch started\n").c_str(), 0755);
  const support::CurrentFolder folder(folder_.Path());
  const std::string too_long = '/' + std::string(1000, 'x'), text = folder_.File("text");
  for (const char* tool : {"", " ", "/missing/tool", "no-such-program", "/etc", text.c_str(), too_long.c_str(),
                           "./relative", "relative"}) {
    EXPECT_EQ(LRunCommandWithPrivilege(process_, tool, true), 2) << tool;
    EXPECT_EQ(LRunCommandWithPrivilege(process_, tool, static_cast<char* const*>(nullptr), true), 2) << tool;
    EXPECT_FALSE(LRunCommandWithPrivilege(tool, true)) << tool;
  }
  EXPECT_EQ(LRunCommandWithPrivilege(process_, static_cast<const char*>(nullptr), true), 2);
  EXPECT_EQ(LRunCommandWithPrivilege(process_, nullptr, static_cast<char* const*>(nullptr), true), 2);
  EXPECT_FALSE(Exists("started")) << "a tool in a relative folder of the path";
}

TEST_F(RunWithPrivilege, TheExitCodeDoesNotCount) {
  const char* const arguments[] = {"-c", "exit 126", nullptr};
  EXPECT_EQ(LRunCommandWithPrivilege(process_, "/bin/sh", arguments, true), 0);
  EXPECT_EQ(LRunCommandWithPrivilege(process_, "/bin/false", true), 0);
}

TEST_F(RunWithPrivilege, TheEnvironmentIsNoneOfTheHosts) {
  const EnvironmentVariable evil("LD_PRELOAD_EVIL", "x"), path("PATH", "/missing");
  EXPECT_EQ(OutputOf(true, "/usr/bin/env", true),
            "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\nHOME=/root\nLOGNAME=root\n"
            "SHELL=/bin/sh\nUSER=root\n");
}

TEST_F(RunWithPrivilege, StandardInputIsEmpty) { EXPECT_EQ(OutputOf(true, "/bin/cat", true), ""); }

TEST_F(RunWithPrivilege, OutputIsCopiedInItsPlace) {
  testing::internal::CaptureStdout();
  std::printf("before ");
  EXPECT_TRUE(LRunCommandWithPrivilege("/bin/echo tool", true));
  std::printf("after");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "before tool\nafter");
  EXPECT_EQ(OutputOf(true, "/usr/bin/head -c 100000 /dev/zero", true), std::string(100000, '\0'));
}

TEST_F(RunWithPrivilege, WithoutEchoNobodyHearsItAndNobodyWaits) {
  const std::string go = folder_.File("go"), end = folder_.File("end");
  const std::string script =
      "trap '' PIPE; until [ -e " + go + " ]; do sleep 0.01; done; echo unheard 2>/dev/null; >" + end;
  const char* const arguments[] = {"-c", script.c_str(), nullptr};
  EXPECT_EQ(OutputOf(0, process_, "/bin/sh", arguments, false), "");
  EXPECT_FALSE(Exists(end));
  folder_.Write("go", "");
  EXPECT_TRUE(support::WaitUntil([&] { return Exists(end); }));
  // Whoever is started next sees to it that it does not stay a zombie.
  EXPECT_TRUE(support::WaitUntil(
      [] { return LRunCommandWithPrivilege("/bin/true", true) && waitpid(-1, nullptr, WNOHANG) == -1; }));
}

TEST_F(RunWithPrivilege, AToolThatClosesItsOutputIsNotWaitedFor) {
  const std::string script = "exec >&-; until [ -e " + folder_.File("go") + " ]; do sleep 0.01; done";
  const char* const arguments[] = {"-c", script.c_str(), nullptr};
  EXPECT_EQ(LRunCommandWithPrivilege(process_, "/bin/sh", arguments, true), 0);
  folder_.Write("go", "");
  EXPECT_TRUE(support::WaitUntil(
      [] { return LRunCommandWithPrivilege("/bin/true", true) && waitpid(-1, nullptr, WNOHANG) == -1; }));
}

}  // namespace
