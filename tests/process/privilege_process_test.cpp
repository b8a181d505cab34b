// Tools with the administrator's rights, asked of a real polkitd on a message bus and in a mount namespace of the
// test's own, by a user who has none: see privilege_child.cpp. The real pkexec is setuid, so that all this needs root.

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using Words = std::vector<std::string>;

constexpr unsigned int kEndMs = 120000;
constexpr int kNoStage = 77;

const Words kAllowed = {"action", "allow=system.privilege.admin"};

class Privilege : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "a stage for polkit needs root";
    for (const char* program : {"/usr/bin/pkexec", "/usr/bin/dbus-daemon", "/usr/bin/setpriv"}) {
      if (access(program, X_OK) != 0) GTEST_SKIP() << program << " is missing";
    }
    if (support::RunProcess({"/usr/bin/unshare", "--mount", "true"}, kEndMs).exit_code != 0) {
      GTEST_SKIP() << "the system gives no mount namespace";
    }
  }

  support::ProcessResult Run(const Words& options, const Words& call) {
    Words command = {TILLVANE_TEST_HELPER, "stage", folder_.Path(), TILLVANE_TEST_PRIVILEGED_TOOL};
    command.insert(command.end(), options.begin(), options.end());
    command.emplace_back("--");
    command.insert(command.end(), call.begin(), call.end());
    support::ProcessResult result = support::RunProcess(command, kEndMs);
    EXPECT_TRUE(result.ended);
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    if (result.exit_code == kNoStage) ADD_FAILURE() << "no stage: " << result.errors;
    return result;
  }

  support::TempFolder folder_;
};

TEST_F(Privilege, AnAllowedToolRunsAsTheAdministrator) {
  for (const std::string form : {"copy", "vector"}) {
    const support::ProcessResult run = Run(kAllowed, {form, "/usr/bin/id", "-u"});
    EXPECT_EQ(run.output, "0\n") << form;
    EXPECT_EQ(run.errors, "result 0\n") << form;
  }
}

TEST_F(Privilege, ALineIsAToolAndItsArguments) {
  const support::ProcessResult run = Run(kAllowed, {"line", "/usr/bin/touch /run/folder/a \"/run/folder/b c\""});
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(run.errors, "result 0\n");
  for (const char* name : {"a", "b c"}) {
    struct stat status {};
    ASSERT_EQ(stat(folder_.File(name).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_uid, 0U);
    EXPECT_EQ(status.st_mode & 0777, 0644U) << "the caller has a file-creation mask of 0";
  }
}

TEST_F(Privilege, ANameIsLookedUpWithWhich) { EXPECT_EQ(Run(kAllowed, {"plain", "id -u"}).output, "0\n"); }

TEST_F(Privilege, WhoIsRefusedIsToldByATwo) {
  const Words options = {"action", "refuse=system.privilege.admin"};
  const support::ProcessResult run = Run(options, {"agent=Cancelled", "line", "/usr/bin/id"});
  EXPECT_EQ(run.output, "");
  EXPECT_THAT(run.errors, EndsWith("result 2\n"));
  EXPECT_THAT(run.errors, Not(HasSubstr("asked for")));
}

TEST_F(Privilege, WhoCancelsIsToldByAOne) {
  for (const std::string form : {"copy", "vector", "line", "plain"}) {
    const support::ProcessResult run = Run({"action"}, {"agent=Cancelled", form, "/usr/bin/id"});
    EXPECT_EQ(run.output, "") << form;
    EXPECT_THAT(run.errors, StartsWith("asked for system.privilege.admin: Authentication is required")) << form;
    EXPECT_THAT(run.errors, HasSubstr("/usr/bin/id\n"));
    EXPECT_THAT(run.errors, HasSubstr(form == "plain" ? "result 101\n" : "result 1\n")) << form;
  }
}

TEST_F(Privilege, WhoCannotShowWhoHeIsIsToldByATwo) {
  EXPECT_THAT(Run({"action"}, {"agent=Failed", "copy", "/usr/bin/id"}).errors, EndsWith("result 2\n"));
  EXPECT_THAT(Run({"action"}, {"copy", "/usr/bin/id"}).errors, EndsWith("result 2\n")) << "nobody to ask him";
}

TEST_F(Privilege, WithoutTheInstalledActionItIsPkexecsOwn) {
  const Words own = {"allow=org.freedesktop.policykit.exec"};
  EXPECT_EQ(Run(own, {"copy", "/usr/bin/id", "-u"}).output, "0\n");
  EXPECT_THAT(Run({}, {"agent=Cancelled", "copy", "/usr/bin/id"}).errors,
              AllOf(StartsWith("asked for org.freedesktop.policykit.exec"), EndsWith("result 1\n")));
  // And with it, it is not.
  EXPECT_THAT(Run({"action", own[0]}, {"copy", "/usr/bin/id"}).errors, EndsWith("result 2\n"));
}

TEST_F(Privilege, TheHelperIsFoundInAPackageThatWasMoved) {
  Words options = kAllowed;
  options.emplace_back("moved");
  EXPECT_EQ(Run(options, {"copy", "/usr/bin/id", "-u"}).output, "0\n");
}

TEST_F(Privilege, WithoutTheHelperNobodyIsAsked) {
  const support::ProcessResult run = Run({"no-helper"}, {"agent=Cancelled", "copy", "/usr/bin/id"});
  EXPECT_EQ(run.errors, "result 2\n");
}

TEST_F(Privilege, TheExitCodeOfAToolThatRanIsNobodysBusiness) {
  for (const char* code : {"0", "3", "126", "127"}) {
    const support::ProcessResult run = Run(kAllowed, {"copy", "/bin/sh", "-c", "exit $0", code});
    EXPECT_EQ(run.errors, "result 0\n") << code;
  }
  EXPECT_EQ(Run(kAllowed, {"copy", "/bin/sh", "-c", "kill -KILL $$"}).errors, "result 0\n");
}

TEST_F(Privilege, TheFirstByteSaysWhetherTheToolWasStarted) {
  struct Case {
    const char *pkexec, *output, *result;
  };
  for (const Case& one :
       {Case{"printf +; exit 126", "", "0"}, Case{"printf +more; exit 3", "more", "0"}, Case{"exit 126", "", "1"},
        Case{"exit 127", "", "2"}, Case{"exit 0", "", "2"}, Case{"kill -KILL $$", "", "2"},
        // Whoever writes something else is not the helper, and is not heard.
        Case{"printf -- -more; exit 0", "", "2"}, Case{"printf ' +more'; exit 127", "", "2"},
        Case{"printf '\\0+more'; exit 126", "", "1"}}) {
    const support::ProcessResult run = Run({"action", std::string("pkexec=") + one.pkexec}, {"copy", "/usr/bin/id"});
    EXPECT_EQ(run.output, one.output) << one.pkexec;
    EXPECT_EQ(run.errors, std::string("result ") + one.result + '\n') << one.pkexec;
  }
}

TEST_F(Privilege, AFirstByteThatCannotBeReadIsAFailure) {
  EXPECT_EQ(Run(kAllowed, {"read=EINTR", "copy", "/usr/bin/id", "-u"}).output, "0\n");
  const support::ProcessResult run = Run(kAllowed, {"read=EIO", "copy", "/usr/bin/id", "-u"});
  EXPECT_EQ(run.output, "");
  EXPECT_THAT(run.errors, EndsWith("result 2\n")) << "behind what the helper has to say of a pipe that nobody reads";
}

TEST_F(Privilege, AToolThatIsNoneIsAFailure) {
  folder_.Write("text", "no program");
  for (const char* tool : {"/run/folder/missing", "/run/folder/text", "/run/folder", "no-such-program"}) {
    const support::ProcessResult run = Run(kAllowed, {"copy", tool});
    EXPECT_EQ(run.output, "") << tool;
    EXPECT_THAT(run.errors, EndsWith("result 2\n")) << tool;
  }
}

TEST_F(Privilege, NoShellReadsTheArguments) {
  const Words words = {"$(id)", ";", "a  b", "*", "", "'", "-x", "\n"};
  Words call = {"copy", "/usr/bin/printf", "[%s]"};
  call.insert(call.end(), words.begin(), words.end());
  std::string expected;
  for (const std::string& word : words) expected += "[" + word + "]";
  EXPECT_EQ(Run(kAllowed, call).output, expected);
}

TEST_F(Privilege, TheEnvironmentIsNoneOfTheCallers) {
  Words options = kAllowed;
  for (const char* variable :
       {"LD_PRELOAD=/run/folder/evil.so", "LD_LIBRARY_PATH=/run/folder", "GCONV_PATH=/run/folder", "IFS=/",
        "BASH_ENV=/run/folder/x", "ENV=/run/folder/x", "SHELL=/run/x", "LANG=../../x", "LANGUAGE=%s%n", "LC_ALL=/x",
        "TERM=%d", "PYTHONPATH=/run/folder", "XAUTHORITY=..", "DBUS_SYSTEM_BUS_ADDRESS=x:y", "POSIXLY_CORRECT=1"}) {
    options.push_back(std::string("env=") + variable);
  }
  const support::ProcessResult run = Run(options, {"copy", "/usr/bin/env"});
  EXPECT_EQ(run.output,
            "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\nHOME=/root\nLOGNAME=root\n"
            "SHELL=/bin/sh\nUSER=root\n");
  EXPECT_THAT(run.errors, EndsWith("result 0\n"));
}

TEST_F(Privilege, TheToolRunsInTheCurrentFolder) {
  EXPECT_EQ(Run(kAllowed, {"copy", "/bin/pwd"}).output, "/run/folder\n");
}

TEST_F(Privilege, TheToolsOutputIsCopiedWhole) {
  const support::ProcessResult run = Run(kAllowed, {"copy", "/usr/bin/head", "-c", "1000000", "/dev/zero"});
  EXPECT_EQ(run.output.size(), 1000000U);
  EXPECT_EQ(std::count(run.output.begin(), run.output.end(), '\0'), 1000000);
}

TEST_F(Privilege, AQuietToolIsNotWaitedFor) {
  const char* const script = "until [ -e /run/folder/go ]; do sleep 0.02; done; echo > /run/folder/end";
  const support::ProcessResult run = Run(kAllowed, {"quiet", "copy", "/bin/sh", "-c", script});
  EXPECT_EQ(run.errors, "result 0\n");
  EXPECT_NE(access(folder_.File("end").c_str(), F_OK), 0);
  folder_.Write("go", "");
  EXPECT_TRUE(support::WaitUntil([&] { return access(folder_.File("end").c_str(), F_OK) == 0; }));
}

TEST_F(Privilege, NobodyHearsAQuietTool) {
  EXPECT_EQ(Run(kAllowed, {"quiet", "copy", "/bin/echo", "unheard"}).output, "");
}

// What pkexec starts refuses what is not meant for it.
TEST_F(Privilege, TheHelperTakesNothingButAnAbsoluteTool) {
  struct Case {
    Words arguments;
    const char* error;
  };
  for (const Case& one : {Case{{}, "usage"}, Case{{"id"}, "not an absolute path"}, Case{{"./id"}, "not an absolute"},
                          Case{{""}, "not an absolute path"}, Case{{"/missing"}, "No such file"},
                          Case{{"/etc"}, "Permission denied"}, Case{{"/etc/passwd"}, "Permission denied"}}) {
    Words command = {TILLVANE_TEST_PRIVILEGED_TOOL};
    command.insert(command.end(), one.arguments.begin(), one.arguments.end());
    const support::ProcessResult run = support::RunProcess(command, kEndMs);
    EXPECT_EQ(run.exit_code, 127);
    EXPECT_THAT(run.output, IsEmpty()) << one.error;
    EXPECT_THAT(run.errors, HasSubstr(one.error));
  }
}

}  // namespace
