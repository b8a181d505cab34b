// The toolkit example, as its users run it.

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>

namespace {

using support::ProcessResult;
using testing::ContainsRegex;
using testing::HasSubstr;

ProcessResult Toolkit(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), TILLVANE_TEST_TOOLKIT);
  return support::RunProcess(arguments, 60000);
}

TEST(ToolkitExample, TakesPathsApartAndPutsThemTogether) {
  struct Case {
    std::vector<std::string> arguments;
    std::string output;
  };
  for (const Case& one :
       {Case{{"split", "/a/b/c.tar.gz"},
             "folder      /a/b\nbase folder /a\nfile        c.tar.gz\nname        c.tar\nextension   .gz\n"},
        Case{{"absolute", "/a/b", "../c"}, "/a/c\n"}, Case{{"absolute", "/a/b", "/c"}, "/c\n"},
        Case{{"relative", "/a/b/c", "/a/d"}, "../../d\n"},
        Case{{"match", "*.txt", "a.txt", "b.doc", "c.txt"}, "a.txt\nc.txt\n"}}) {
    std::vector<std::string> arguments = one.arguments;
    arguments.insert(arguments.begin(), "path");
    const ProcessResult result = Toolkit(arguments);
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.output, one.output);
    EXPECT_EQ(result.errors, "");
  }
  EXPECT_EQ(Toolkit({"path", "match", "*.txt", "b.doc"}).exit_code, 1);
  EXPECT_EQ(Toolkit({"path", "relative", std::string(300, '/'), "/"}).exit_code, 2);
}

TEST(ToolkitExample, ListsProcesses) {
  const ProcessResult all = Toolkit({"ps"});
  EXPECT_EQ(all.exit_code, 0);
  EXPECT_THAT(all.output, ContainsRegex("\\b" + std::to_string(getpid()) + " "));
  EXPECT_THAT(Toolkit({"ps", "ToolKit"}).output, ContainsRegex("^( *[0-9]+ toolkit\n)+$"));
  EXPECT_EQ(Toolkit({"ps", "nothing of this name"}).exit_code, 1);
}

TEST(ToolkitExample, ShowsWhatACommandWrites) {
  EXPECT_EQ(Toolkit({"run", "echo one; echo two"}).output, "one\ntwo\n");
  EXPECT_EQ(Toolkit({"run", "exit 3"}).exit_code, 0);
}

TEST(ToolkitExample, RunsAToolAsTheAdministrator) {
  if (geteuid() != 0) GTEST_SKIP() << "somebody would be asked";
  const ProcessResult result = Toolkit({"sudo", "id", "-u"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_EQ(result.output, "0\n");
  const support::TempFolder folder;
  EXPECT_EQ(Toolkit({"sudo", "touch", folder.File("made")}).exit_code, 0);
  struct stat made;
  ASSERT_EQ(stat(folder.File("made").c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777, 0644u) << "although the program's own mask is 0";
  folder.Write("script", "echo no sign\n");
  chmod(folder.File("script").c_str(), 0755);
  EXPECT_EQ(Toolkit({"sudo", folder.File("script")}).exit_code, 1) << "what only a shell would run";
  folder.Write("script", "#! /nowhere/sh -e\n");
  EXPECT_EQ(Toolkit({"sudo", folder.File("script")}).exit_code, 1) << "an interpreter that is not there";
  folder.Write("script", "#! /bin/sh -e\necho $0 $1\n");
  EXPECT_EQ(Toolkit({"sudo", folder.File("script"), "x"}).output, folder.File("script") + " x\n");
  const ProcessResult missing = Toolkit({"sudo", "/nowhere/tool"});
  EXPECT_EQ(missing.exit_code, 1);
  EXPECT_THAT(missing.errors, HasSubstr("not allowed"));
}

TEST(ToolkitExample, SaysWhoAndWhereItIs) {
  const ProcessResult result = Toolkit({"locale"});
  EXPECT_EQ(result.exit_code, 0);
  EXPECT_THAT(result.output, ContainsRegex("^locale        [^\n]+\nroot          (yes|no)\nadministrator (yes|no)\n"));
  EXPECT_THAT(result.output, ContainsRegex("resources     /[^\n]+\n$"));
}

TEST(ToolkitExample, WrongUseIsRefused) {
  const std::vector<std::vector<std::string>> wrong = {{},
                                                       {"fly"},
                                                       {"path"},
                                                       {"path", "fly", "/a"},
                                                       {"path", "split"},
                                                       {"run"},
                                                       {"run", "a", "b"},
                                                       {"sudo"},
                                                       {"ps", "a", "b"},
                                                       {"locale", "x"},
                                                       {"path", "split", "/a", "/b"}};
  for (const auto& arguments : wrong) {
    const ProcessResult result = Toolkit(arguments);
    EXPECT_EQ(result.exit_code, 2);
    EXPECT_THAT(result.errors, HasSubstr("--help"));
    EXPECT_EQ(result.output, "");
  }
  EXPECT_THAT(Toolkit({"--help"}).output, HasSubstr("usage: toolkit"));
}

}  // namespace
