// Users that are switched for real, in processes that can be lost. Only root can: without it these are skipped.

#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>

namespace {

using support::ProcessResult;
using support::RunProcess;

const std::string kHelper = TILLVANE_TEST_HELPER;
constexpr unsigned int kEndMs = 60000;

using Texts = std::vector<std::string>;

/// The child's program may lie where only root may look: it is started before it is anybody else.
class SwitchingUsers : public testing::Test {
 protected:
  void SetUp() override {
    if (geteuid() != 0) GTEST_SKIP() << "only root can switch users";
  }

  /// \return what the steps said
  static std::string Run(const Texts& environment, const Texts& steps) {
    Texts command = {"/usr/bin/env", "-u", "LOGNAME", "-u", "USER"};
    command.insert(command.end(), environment.begin(), environment.end());
    command.push_back(kHelper);
    command.insert(command.end(), steps.begin(), steps.end());
    const ProcessResult child = RunProcess(command, kEndMs);
    EXPECT_EQ(child.exit_code, 0) << child.errors;
    return child.output;
  }
};

const std::string kNobody = "Uid: 65534 65534 65534 65534, Gid: 65534 65534 65534 65534, Groups: 65534\n";

TEST_F(SwitchingUsers, RootDoesNotComeBack) {
  for (const char* variable : {"LOGNAME=nobody", "USER=nobody"}) {
    EXPECT_EQ(Run({variable}, {"take-groups", "read-shadow", "to-user", "who", "setuid-0", "seteuid-0", "setresuid-0",
                               "setgid-0", "setgroups-0", "to-root", "read-shadow", "who"}),
              "take-groups 0\nread-shadow 1\nto-user 1\n" + kNobody +
                  "setuid-0 -1\nseteuid-0 -1\nsetresuid-0 -1\nsetgid-0 -1\nsetgroups-0 -1\nto-root 0\nread-shadow 0\n" +
                  kNobody)
        << variable;
  }
}

TEST_F(SwitchingUsers, RightsThatWereOnlyLentOutDoNotComeBack) {
  EXPECT_EQ(Run({"LOGNAME=nobody"},
                {"take-groups", "lend-to-nobody", "to-user", "setuid-0", "seteuid-0", "setresuid-0", "who"}),
            "take-groups 0\nlend-to-nobody 0\nto-user 1\nsetuid-0 -1\nseteuid-0 -1\nsetresuid-0 -1\n" + kNobody);
}

TEST_F(SwitchingUsers, RightsThatTheProcessKeepsAreNotDenied) {
  EXPECT_EQ(Run({"LOGNAME=nobody"}, {"keep-rights", "to-user", "who"}), "keep-rights 0\nto-user 0\n" + kNobody);
}

TEST_F(SwitchingUsers, RootMayStayRoot) {
  EXPECT_EQ(Run({"LOGNAME=root"}, {"to-user", "setuid-0"}), "to-user 1\nsetuid-0 0\n");
  EXPECT_EQ(Run({}, {"act-as-nobody", "is-root", "to-root", "read-shadow"}),
            "act-as-nobody 0\nis-root 1\nto-root 1\nread-shadow 1\n");
  EXPECT_EQ(Run({}, {"lend-to-nobody", "is-root", "to-root", "read-shadow"}),
            "lend-to-nobody 0\nis-root 0\nto-root 1\nread-shadow 1\n");
}

TEST_F(SwitchingUsers, AnUnknownUserChangesNothing) {
  const std::string endless(100000, 'x');
  for (const Texts& environment : {Texts{}, Texts{"LOGNAME=", "USER=nobody"}, Texts{"LOGNAME=no such user"},
                                   Texts{"USER=no such user"}, Texts{"LOGNAME=" + endless}, Texts{"USER=" + endless},
                                   Texts{"LOGNAME=65534"}, Texts{"LOGNAME=nobody:x"}, Texts{"LOGNAME=\xFF\xC3"}}) {
    SCOPED_TRACE(testing::PrintToString(environment).substr(0, 100));
    EXPECT_EQ(Run(environment, {"take-groups", "to-user", "who"}),
              "take-groups 0\nto-user 0\nUid: 0 0 0 0, Gid: 0 0 0 0, Groups: 0 4 27\n");
  }
}

TEST_F(SwitchingUsers, AnOrdinaryUserBecomesNobodyElse) {
  EXPECT_EQ(Run({"LOGNAME=nobody"}, {"become-nobody", "to-user"}), "become-nobody 0\nto-user 1\n");
  EXPECT_EQ(Run({"LOGNAME=root"}, {"become-nobody", "to-user", "to-root"}), "become-nobody 0\nto-user 0\nto-root 0\n");
  EXPECT_EQ(Run({"LOGNAME=daemon"}, {"become-nobody", "to-user"}), "become-nobody 0\nto-user 0\n");
}

TEST_F(SwitchingUsers, RootIsWhoeverTheEnvironmentCallsSo) {
  EXPECT_EQ(Run({"USER=root"}, {"become-nobody", "is-root"}), "become-nobody 0\nis-root 1\n");
  EXPECT_EQ(Run({"USER=nobody"}, {"become-nobody", "is-root"}), "become-nobody 0\nis-root 0\n");
  EXPECT_EQ(Run({}, {"become-nobody", "is-root", "is-administrator"}),
            "become-nobody 0\nis-root 0\nis-administrator 0\n");
}

/// Users and groups that nobody else on the machine sees.
class PrivateUsers : public SwitchingUsers {
 protected:
  void SetUp() override {
    SwitchingUsers::SetUp();
    if (IsSkipped()) return;
    const ProcessResult apart = RunProcess({"/usr/bin/env", "unshare", "--mount", "true"}, kEndMs);
    if (apart.exit_code != 0) GTEST_SKIP() << "no mounts of one's own: " << apart.errors;
  }

  /// The same with these files in place of the system's.
  std::string RunWith(const std::string& users, const std::string& groups, const std::string& login,
                      const std::string& steps) const {
    const ProcessResult child =
        RunProcess({"/usr/bin/env", "unshare", "--mount", "sh", "-c",
                    "mount --bind " + folder_.Write("passwd", users) + " /etc/passwd && mount --bind " +
                        folder_.Write("group", groups) + " /etc/group && chmod 644 /etc/passwd /etc/group && exec " +
                        kHelper + ' ' + steps},
                   kEndMs, {"LOGNAME=" + login, "USER=" + login});
    EXPECT_EQ(child.exit_code, 0) << child.errors;
    return child.output;
  }

  support::TempFolder folder_;
};

TEST_F(PrivateUsers, GroupsAreTheUsersOwn) {
  EXPECT_EQ(RunWith("root:x:0:0::/:/bin/sh\nmade-up:x:4711:4712::/:/bin/sh\n",
                    "root:x:0:\nmade-up:x:4712:\nother:x:4713:made-up\nforeign:x:4714:\n", "made-up",
                    "take-groups to-user who setuid-0"),
            "take-groups 0\nto-user 1\nUid: 4711 4711 4711 4711, Gid: 4712 4712 4712 4712, Groups: 4712 4713\n"
            "setuid-0 -1\n");
}

TEST_F(PrivateUsers, OnlyTheGroupCalledAdminCounts) {
  struct Case {
    const char* groups;
    int answer;
  };
  for (const Case& one : {Case{"admin:x:4713:made-up\n", 1}, Case{"sudo:x:27:made-up\n", 0},
                          Case{"wheel:x:10:made-up\nadmin:x:4713:somebody\n", 0},
                          Case{"Admin:x:4713:made-up\nadm:x:4:made-up\nroot:x:0:made-up\n", 0},
                          Case{"a:x:1:made-up\nb:x:2:made-up\nadmin:x:4713:made-up\n", 1}}) {
    EXPECT_EQ(RunWith("made-up:x:4711:4712::/:/bin/sh\n", one.groups, "made-up", "to-user is-administrator"),
              "to-user 1\nis-administrator " + std::to_string(one.answer) + '\n')
        << one.groups;
  }
}

TEST_F(PrivateUsers, ALongNameCountsByItsFirst259Bytes) {
  const std::string name(259, 'x');
  const std::string users = name + ":x:4711:4712::/:/bin/sh\n";
  for (const char* more : {"", "x", "yyyyyyyyyyyyyyyy"}) {
    EXPECT_EQ(RunWith(users, "none:x:1:\n", name + more, "to-user"), "to-user 1\n") << more;
  }
  EXPECT_EQ(RunWith(users, "none:x:1:\n", name.substr(1), "to-user"), "to-user 0\n");
}

TEST_F(PrivateUsers, AGroupMayHaveManyMembers) {
  std::string members = "made-up";
  for (int i = 0; i < 20000; ++i) members += ",member" + std::to_string(i);
  EXPECT_EQ(RunWith("made-up:x:4711:4712::/:/bin/sh\n", "admin:x:4713:" + members + '\n', "made-up",
                    "to-user is-administrator"),
            "to-user 1\nis-administrator 1\n");
}

}  // namespace
