// Processes as they really are: with odd names, ending while they are listed, very many.

#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/system/LProcessList.h>

namespace {

using support::ChildProcess;
using support::kLongMs;

const std::string kHelper = TILLVANE_TEST_HELPER;

std::map<int, std::string> List() {
  kinfo_proc* list = nullptr;
  const unsigned int count = LGetBSDProcessList(&list);
  EXPECT_NE(list, nullptr);
  std::map<int, std::string> processes;
  for (unsigned int i = 0; list != nullptr && i < count; ++i) {
    processes[list[i].kp_proc.p_pid] = list[i].kp_proc.p_comm;
  }
  EXPECT_EQ(processes.size(), count) << "a number came twice";
  std::free(list);
  return processes;
}

TEST(ProcessList, HasOddNamesAsTheyAre) {
  struct Case {
    std::string name, record;
  };
  const Case cases[] = {
      {"plain", "plain"},
      {"with a space", "with a space"},
      {" ", " "},
      {"(paren", "(paren"},
      {"a) R 1 (b", "a) R 1 (b"},
      {"line\nfeed", "line\nfeed"},
      {"\n", "\n"},
      {"end\n", "end\n"},
      {"\t\x01\x7F\\", "\t\x01\x7F\\"},
      {"\xFF\xFE\x80", "\xFF\xFE\x80"},
      {"gr\xC3\xBC\xC3\x9F", "gr\xC3\xBC\xC3\x9F"},
      {"fifteen bytes!!", "fifteen bytes!!"},
      {"more than fifteen bytes", "more than fifte"},
      // Not even a character stays whole.
      {"fourteen bytes\xC3\xBC", "fourteen bytes\xC3"},
      {"", ""},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.name));
    ChildProcess child({kHelper, "named", one.name});
    ASSERT_TRUE(child.WaitForOutput("ready", kLongMs));
    const auto processes = List();
    ASSERT_TRUE(processes.contains(child.Pid()));
    EXPECT_EQ(processes.at(child.Pid()), one.record);
    EXPECT_TRUE(LIsApplicationRunning(one.record.c_str()));
  }
}

TEST(ProcessList, HasThisProcessAndTheFirstOne) {
  const auto processes = List();
  EXPECT_TRUE(processes.contains(getpid()));
  EXPECT_TRUE(processes.contains(1));
  EXPECT_GT(processes.begin()->first, 0);
}

TEST(ProcessList, HasAProcessUntilItsEndIsNoticed) {
  ChildProcess parent({kHelper, "zombie"});
  ASSERT_TRUE(parent.WaitForOutput("ready", kLongMs));
  const int zombie = std::atoi(parent.Output().c_str());
  ASSERT_GT(zombie, 0);
  EXPECT_TRUE(List().contains(zombie));
  parent.Signal(SIGKILL);
  ASSERT_TRUE(parent.WaitForEnd(kLongMs));
  EXPECT_FALSE(List().contains(parent.Pid()));
}

/// A name that no other test's process has, nor this one's in another run.
std::string OwnName(const char* letters) { return letters + std::to_string(getpid()); }

TEST(ProcessLookup, IgnoresTheCaseOfLettersOrNot) {
  const std::string name = OwnName("LvLookup");
  const std::string other_case = OwnName("lVlOOKUP");
  EXPECT_EQ(LGetBSDProcessUid(name.c_str()), -1);
  EXPECT_FALSE(LIsApplicationRunning(name.c_str()));
  ChildProcess child({kHelper, "named", name});
  ASSERT_TRUE(child.WaitForOutput("ready", kLongMs));
  EXPECT_EQ(LGetBSDProcessUid(name.c_str()), child.Pid());
  EXPECT_EQ(LGetBSDProcessUid(other_case.c_str()), child.Pid());
  EXPECT_TRUE(LIsApplicationRunning(name.c_str()));
  EXPECT_FALSE(LIsApplicationRunning(other_case.c_str()));
  for (const std::string& no : {name.substr(0, name.size() - 1), name + "x", name + std::string(300, 'x')}) {
    EXPECT_EQ(LGetBSDProcessUid(no.c_str()), -1) << no;
    EXPECT_FALSE(LIsApplicationRunning(no.c_str())) << no;
  }
  child.Signal(SIGKILL);
  ASSERT_TRUE(child.WaitForEnd(kLongMs));
  EXPECT_EQ(LGetBSDProcessUid(name.c_str()), -1);
  EXPECT_FALSE(LIsApplicationRunning(name.c_str()));
}

TEST(ProcessLookup, FindsAProgramByTheBeginningOfItsName) {
  // The kernel names a process after its executable's file.
  const std::string name = "lv" + std::to_string(getpid()) + "-with-a-long-name";
  const support::TempFolder folder;
  ASSERT_EQ(symlink(kHelper.c_str(), folder.File(name).c_str()), 0);
  ChildProcess child({folder.File(name), "wait"});
  ASSERT_TRUE(child.WaitForOutput("ready", kLongMs));
  EXPECT_EQ(LGetBSDProcessUid(name.substr(0, 15).c_str()), child.Pid());
  EXPECT_TRUE(LIsApplicationRunning(name.substr(0, 15).c_str()));
  EXPECT_EQ(LGetBSDProcessUid(name.c_str()), -1);
  EXPECT_FALSE(LIsApplicationRunning(name.c_str()));
}

TEST(ProcessLookup, RemembersAProcessThatItHasFound) {
  const std::string name = OwnName("LvRemember");
  gGuiUid = -1;
  EXPECT_EQ(LGetProcessUid(name.c_str()), -1);
  EXPECT_EQ(gGuiUid, -1);
  int pid = 0;
  {
    ChildProcess child({kHelper, "named", name});
    ASSERT_TRUE(child.WaitForOutput("ready", kLongMs));
    pid = child.Pid();
    EXPECT_EQ(LGetProcessUid(name.c_str()), pid);
    EXPECT_EQ(gGuiUid, pid);
  }
  EXPECT_EQ(LGetProcessUid(name.c_str()), pid) << "even when it is gone";
  EXPECT_EQ(LGetProcessUid("another one"), pid);
  gGuiUid = -1;
  EXPECT_EQ(LGetProcessUid(name.c_str()), -1);
}

TEST(ProcessList, ProcessesThatEndMeanwhileDoNotMatter) {
  ChildProcess steady({kHelper, "wait"});
  ChildProcess churns[] = {ChildProcess({kHelper, "churn"}), ChildProcess({kHelper, "churn"})};
  ASSERT_TRUE(steady.WaitForOutput("ready", kLongMs));
  for (ChildProcess& churn : churns) ASSERT_TRUE(churn.WaitForOutput("ready", kLongMs));
  const std::string own_name = List().at(getpid());
  const support::Stopwatch watch;
  std::map<int, std::string> all;
  int lists = 0;
  for (; lists < 50 || watch.Ms() < 500; ++lists) {
    const auto processes = List();
    ASSERT_TRUE(processes.contains(steady.Pid()));
    ASSERT_TRUE(processes.contains(1));
    ASSERT_EQ(processes.at(getpid()), own_name);
    all.insert(processes.begin(), processes.end());
  }
  EXPECT_GT(all.size(), List().size()) << "none ended in " << lists << " lists";
}

TEST(ProcessList, HasMoreThanTenThousand) {
  const support::Stopwatch watch;
  const support::ProcessResult farm = support::RunProcess({kHelper, "farm", "10500"}, 120000);
  ASSERT_TRUE(farm.ended);
  if (farm.exit_code == 77) GTEST_SKIP() << "only an administrator has a table of processes apart";
  EXPECT_EQ(farm.exit_code, 0) << farm.errors;
  EXPECT_EQ(farm.output, "10501 listed, 10501 different, 10500 children, 1 is the first\n");
  RecordProperty("ms", static_cast<int>(watch.Ms()));
}

}  // namespace
