// The preferences of an application, over its runs and among several of its processes.

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/files.h>
#include <tests/support/made_up_home.h>
#include <tests/support/waiting.h>

namespace {

constexpr unsigned int kWaitMs = 120000;

class PreferencesProcess : public testing::Test {
 protected:
  static std::vector<std::string> Command(std::vector<std::string> words) {
    words.insert(words.begin(), TILLVANE_TEST_HELPER);
    return words;
  }

  /// What a run of the host says.
  std::string Run(const std::vector<std::string>& words, const std::vector<std::string>& environment = {}) const {
    const support::ProcessResult host = support::RunProcess(Command(words), kWaitMs, environment);
    EXPECT_EQ(host.exit_code, 0) << host.errors << host.signal;
    return host.output;
  }

  static std::string Application() { return std::filesystem::path(TILLVANE_TEST_HELPER).filename(); }
  std::string Path() const { return home_.Path(".config/" + Application() + "/preferences"); }

  const support::MadeUpHome home_;
};

TEST_F(PreferencesProcess, AValueIsSeenAtOnceAndSavedAtTheEnd) {
  EXPECT_EQ(Run({"show", "a", "set", "a", "1", "show", "a"}), "none\n1\n");
  EXPECT_EQ(support::Contents(Path()), "[Preferences]\na=\"1\"\n");
  EXPECT_EQ(Run({"show", "a", "remove", "a", "show", "a"}), "1\nnone\n");
  EXPECT_EQ(Run({"show", "a"}), "none\n");
}

TEST_F(PreferencesProcess, WhatIsSynchronisedOutlivesAnEndOfAnyKind) {
  EXPECT_EQ(Run({"set", "a", "1", "synchronize", "set", "b", "2", "quick-exit"}), "true\n");
  EXPECT_EQ(Run({"show", "a", "show", "b"}), "1\nnone\n");
}

TEST_F(PreferencesProcess, WhatAHostsLastFunctionsChangeIsSaved) {
  EXPECT_EQ(Run({"at-exit", "a", "late", "set", "b", "2", "synchronize"}), "true\n");
  EXPECT_EQ(Run({"show", "a", "show", "b"}), "late\n2\n");
  EXPECT_EQ(Run({"at-exit", "a", "the first of all"}), "");
  EXPECT_EQ(Run({"show", "a"}), "the first of all\n");
}

TEST_F(PreferencesProcess, LookingMakesNothing) {
  EXPECT_EQ(Run({"show", "a", "synchronize"}), "none\ntrue\n");
  EXPECT_FALSE(support::IsThere(home_.Path(".config")));
}

TEST_F(PreferencesProcess, TheFolderIsTheUsersForSettings) {
  const std::string folder = home_.Beside("settings");
  EXPECT_EQ(Run({"set", "a", "1"}, {"XDG_CONFIG_HOME=" + folder}), "");
  EXPECT_EQ(support::Contents(folder + '/' + Application() + "/preferences"), "[Preferences]\na=\"1\"\n");
  EXPECT_EQ(Run({"show", "a"}), "none\n");
  EXPECT_EQ(Run({"set", "a", "1", "synchronize"}, {"HOME=" + home_.Beside("gone")}), "false\n");
  EXPECT_FALSE(support::IsThere(home_.Beside("gone")));
}

TEST_F(PreferencesProcess, WhatAParentHasNotSavedIsNotItsChildsToSave) {
  EXPECT_EQ(Run({"set", "a", "old", "set", "b", "1", "fork", "show", "a", "set", "c", "child's", "join", "show", "a",
                 "synchronize"}),
            "old\nold\ntrue\n");
  EXPECT_EQ(Run({"show", "a", "show", "b", "show", "c"}), "old\n1\nchild's\n");
  // The child ends when the disk has a newer value.
  EXPECT_EQ(Run({"set", "a", "old", "fork", "fork", "set", "a", "newer", "join", "show", "a", "join", "quick-exit"}),
            "old\n");
  EXPECT_EQ(Run({"show", "a"}), "newer\n");
}

TEST_F(PreferencesProcess, AForkInTheMidstOfASaveHangsNobody) {
  // To a leak checker what the parent's writer had at the fork is the child's, and lost.
  EXPECT_EQ(Run({"busy-fork"}, {"LSAN_OPTIONS=detect_leaks=0"}), "15 of 15\n");
  EXPECT_EQ(Run({"show", "child"}), "14\n");
}

/// Has a process this file open?
bool HasOpen(pid_t process, const std::string& path) {
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd", error)) {
    if (std::filesystem::read_symlink(entry.path(), error) == path) return true;
  }
  return false;
}

TEST_F(PreferencesProcess, ASignalThatEndsTheProcessInTheMidstOfASaveWaitsForIt) {
  for (const int signal : {SIGINT, SIGTERM}) {
    SCOPED_TRACE(signal);
    const std::string text = std::to_string(signal), lock_path = Path() + ".lock";
    support::MakeFolder(std::filesystem::path(lock_path).parent_path());
    const int lock = open(lock_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    support::ChildProcess host(Command({"set", "a", text, "synchronize"}));
    EXPECT_TRUE(support::WaitUntil([&] { return HasOpen(host.Pid(), lock_path); }));
    host.Signal(signal);
    support::SleepMs(30);
    close(lock);
    ASSERT_TRUE(host.WaitForEnd(support::kLongMs)) << "it waits for itself";
    EXPECT_EQ(host.ExitCode(), 0) << host.Errors();
    EXPECT_EQ(host.Output(), "") << "it ends where the save is done";
    EXPECT_EQ(Run({"show", "a"}), text + '\n');
  }
}

TEST_F(PreferencesProcess, WritersOfDifferentKeysLoseNothing) {
  const std::string ms = std::getenv("TILLVANE_TEST_LONG") != nullptr ? "60000" : "1000";
  EXPECT_EQ(Run({"set", "mine", "kept", "synchronize"}), "true\n");
  support::ChildProcess one(Command({"count", "one", ms})), other(Command({"count", "other", ms}));
  ASSERT_TRUE(one.WaitForEnd(kWaitMs));
  ASSERT_TRUE(other.WaitForEnd(kWaitMs));
  for (const support::ChildProcess* writer : {&one, &other}) {
    EXPECT_EQ(writer->ExitCode(), 0) << writer->Errors();
    EXPECT_GT(std::atoi(writer->Output().c_str()), 2) << "it hardly wrote";
  }
  EXPECT_EQ(Run({"show", "one", "show", "other", "show", "mine"}), one.Output() + other.Output() + "kept\n");
  EXPECT_EQ(support::Tree(home_.Path(".config/" + Application())),
            (std::set<std::string>{"preferences", "preferences.lock"}));
}

}  // namespace
