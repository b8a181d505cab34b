// The start of a program in a process of its own, whose locale, mask and limits it changes; under environments that
// mean no good, too.

#include <locale.h>
#include <sys/resource.h>

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

/// Without what this process's own environment says about locales.
const std::vector<std::string> kNoLocale = {
    "LC_ALL=",       "LC_CTYPE=",       "LC_NUMERIC=",        "LC_TIME=", "LC_COLLATE=",
    "LC_MONETARY=",  "LC_MESSAGES=",    "LC_PAPER=",          "LC_NAME=", "LC_ADDRESS=",
    "LC_TELEPHONE=", "LC_MEASUREMENT=", "LC_IDENTIFICATION=", "LANG=",    "LANGUAGE="};

ProcessResult RunChild(std::vector<std::string> arguments, std::vector<std::string> environment) {
  arguments.insert(arguments.begin(), kHelper);
  for (const std::string& variable : kNoLocale) {
    const std::string name = variable.substr(0, variable.find('=') + 1);
    bool is_set = false;
    for (const std::string& one : environment) is_set |= one.compare(0, name.size(), name) == 0;
    if (!is_set) environment.push_back(variable);
  }
  return RunProcess(arguments, kEndMs, environment);
}

TEST(UnixApp, StartsAsToldInOneCall) {
  const ProcessResult child = RunChild({"start", "-psn_0_4711", "file", "-psn_0_1"}, {"LC_ALL=C.UTF-8"});
  EXPECT_EQ(child.exit_code, 0) << child.errors;
  EXPECT_EQ(child.output,
            "answer 1\n"
            "thread MAIN\n"
            "mask 0\n"
            "arguments 3 'start' 'file' '-psn_0_1'\n"
            "locale C.UTF-8\n"
            "open files 1024\n");
}

TEST(UnixApp, StartsWithoutArguments) {
  const ProcessResult child = RunChild({"start-empty"}, {});
  EXPECT_EQ(child.exit_code, 0) << child.errors;
  EXPECT_EQ(child.output, "answer 1\nthread MAIN\nmask 0\narguments 0\nlocale C\nopen files 1024\n");
}

TEST(UnixApp, StartsInAnyEnvironment) {
  const support::TempFolder folder;
  const std::string junk = folder.Write("junk", std::string(4096, '\x7F'));
  const std::string endless(100000, 'x');
  const std::vector<std::string> environments[] = {
      {"PATH="},
      {"PATH=" + endless},
      {"LANG=" + endless},
      {"LC_ALL=" + endless, "LANG=C.UTF-8"},
      {"LC_ALL=../../../../../../../../" + junk},
      {"LC_ALL=/", "LOCPATH=" + folder.Path()},
      {"LANG=de_DE.UTF-8", "LOCPATH=" + junk},
      {"LANG=de_DE.UTF-8", "LOCPATH=" + endless},
      {"LANG=LC_CTYPE=C;LC_TIME="},
      {"LANG=\xFF\xFE\x80.\xFF@\xFF"},
      {"LANG=%s%n%s%n"},
      {"LC_TIME=xx_YY", "LC_CTYPE=C.UTF-8"},
      {"GCONV_PATH=" + folder.Path(), "LANG=de_DE.JUNK"},
      {"LD_LIBRARY_PATH=" + folder.Path(), "LD_BIND_NOW=1"},
      {"USER=" + endless, "LOGNAME=" + endless, "HOME="},
  };
  for (const std::vector<std::string>& environment : environments) {
    SCOPED_TRACE(testing::PrintToString(environment).substr(0, 200));
    const ProcessResult child = RunChild({"start"}, environment);
    EXPECT_EQ(child.exit_code, 0) << child.signal << child.errors;
    EXPECT_EQ(child.output.substr(0, child.output.find("locale")),
              "answer 1\nthread MAIN\nmask 0\narguments 1 'start'\n");
    EXPECT_EQ(child.errors, "");
  }
}

TEST(UnixApp, OpenFilesAre1024UpwardsAndDownwards) {
  struct Case {
    unsigned int soft, hard;
    const char* output;
  };
  for (const Case& one : {Case{64, 2048, "0, 1024 of 2048\n"}, Case{2000, 2048, "0, 1024 of 2048\n"},
                          Case{1024, 1024, "0, 1024 of 1024\n"}, Case{64, 1024, "0, 1024 of 1024\n"},
                          // The administrator allows fewer.
                          Case{64, 1023, "-1, 64 of 1023\n"}, Case{200, 200, "-1, 200 of 200\n"}}) {
    SCOPED_TRACE(testing::Message() << one.soft << " of " << one.hard);
    const ProcessResult child = RunChild({"open-files", std::to_string(one.soft), std::to_string(one.hard)}, {});
    if (child.exit_code == 77) GTEST_SKIP() << "this user may not have 2048 open files";
    EXPECT_EQ(child.exit_code, 0) << child.errors;
    EXPECT_EQ(child.output, one.output);
  }
}

TEST(Locale, IsTheEnvironments) {
  struct Case {
    std::vector<std::string> environment;
    const char* name;
  };
  const Case cases[] = {
      {{}, "C"},
      {{"LANG=C"}, "C"},
      {{"LANG=POSIX"}, "C"},
      {{"LANG=C.UTF-8"}, "C.UTF-8"},
      {{"LANG=C.utf8"}, "C.utf8"},
      {{"LANG=nn_NONE.UTF-8", "LC_ALL=C.UTF-8"}, "C.UTF-8"},
      {{"LANG=C.UTF-8", "LC_ALL=C"}, "C"},
      // Nothing that the system has.
      {{"LANG=xx_YY.UTF-8"}, "C"},
      {{"LANG=xx_YY"}, "C"},
      {{"LC_ALL=xx_YY", "LANG=C.UTF-8"}, "C"},
      // Of what the environment says some is there, but it counts whole: its language still is.
      {{"LANG=C.UTF-8", "LC_TIME=xx_YY"}, "C.UTF-8"},
      {{"LANG=C", "LC_TIME=xx_YY"}, "C.UTF-8"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.environment));
    const ProcessResult child = RunChild({"locale", std::to_string(LC_ALL)}, one.environment);
    EXPECT_EQ(child.exit_code, 0) << child.errors;
    EXPECT_EQ(child.output, std::string(one.name) + '\n');
  }
}

TEST(Locale, MayBeInstalledUnderAnotherName) {
  const support::TempFolder folder;
  struct Made {
    const char *input, *charset, *name;
  };
  for (const Made& one : {Made{"de_DE", "UTF-8", "de_DE.UTF-8"}, Made{"en_US", "ISO-8859-1", "en_US"}}) {
    const std::string command = "localedef -i " + std::string(one.input) + " -f " + one.charset + ' ' +
                                folder.File(one.name) + " >/dev/null 2>&1";
    if (std::system(command.c_str()) != 0)
      GTEST_SKIP() << "no locale could be made: Debian's package locales is missing";
  }
  struct Case {
    const char *language, *more, *name;
  };
  const Case cases[] = {
      {"de_DE.UTF-8", "", "de_DE.UTF-8"},
      {"de_DE", "", "de_DE.UTF-8"},
      {"de_DE@euro", "", "de_DE.UTF-8"},
      {"de_DE.UTF-8", "xx_YY", "de_DE.UTF-8"},
      // Five characters of it.
      {"de_DEXYZ", "", "de_DE.UTF-8"},
      {"en_US", "", "en_US"},
      {"en_US.UTF-8", "", "en_US"},
      {"en_US.UTF-8", "xx_YY", "en_US"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::Message() << one.language << " and " << one.more);
    const ProcessResult child =
        RunChild({"locale", std::to_string(LC_CTYPE)},
                 {"LOCPATH=" + folder.Path(), std::string("LANG=") + one.language, std::string("LC_TIME=") + one.more});
    EXPECT_EQ(child.exit_code, 0) << child.errors;
    EXPECT_EQ(child.output, std::string(one.name) + '\n');
  }
}

}  // namespace
