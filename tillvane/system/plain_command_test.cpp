#include <tillvane/system/plain_command.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/current_folder.h>
#include <tests/support/environment_variable.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/child_program.h>
#include <tillvane/system/command_process.h>

namespace {

using support::EnvironmentVariable;
using testing::ElementsAreArray;

std::vector<std::string> Words(const commands::PlainCommand& command) {
  std::vector<std::string> words;
  if (command.IsPlain()) {
    for (char* const* word = command.Words(); *word != nullptr; ++word) words.emplace_back(*word);
  }
  return words;
}

std::string CurrentFolder() {
  char path[4096];
  return getcwd(path, sizeof path) != nullptr ? path : "";
}

/// An environment in which nothing keeps a command from being plain.
class PlainCommand : public testing::Test {
 protected:
  const support::OwnEnvironment environment_;
  const EnvironmentVariable path_{"PATH", "/usr/bin:/bin"};
  const EnvironmentVariable folder_{"PWD", CurrentFolder().c_str()};
};

TEST_F(PlainCommand, IsAProgramAndItsArguments) {
  struct Case {
    const char* command;
    std::vector<std::string> words;
  };
  for (const Case& one : {
           Case{"ls", {"ls"}},
           Case{"/bin/ls", {"/bin/ls"}},
           Case{"./tool", {"./tool"}},
           Case{"_tool -x", {"_tool", "-x"}},
           Case{"7z x", {"7z", "x"}},
           Case{" \t ls \t -l\t ", {"ls", "-l"}},
           Case{"which g++-12", {"which", "g++-12"}},
           Case{"env A=b c,d:e@f%g+h", {"env", "A=b", "c,d:e@f%g+h"}},
           Case{"date +%s", {"date", "+%s"}},
           // A word that is a shell's own only at the beginning, and only by itself.
           Case{"ls echo if", {"ls", "echo", "if"}},
           Case{"/bin/echo", {"/bin/echo"}},
           Case{"echoes", {"echoes"}},
       }) {
    EXPECT_THAT(Words(commands::PlainCommand(one.command)), ElementsAreArray(one.words)) << one.command;
  }
}

TEST_F(PlainCommand, AllElseIsTheShells) {
  for (const char* command : {
           "",
           " ",
           "\t",
           "\n",
           // Characters that mean something to some shell.
           "ls;",
           "ls&",
           "ls|ls",
           "ls>f",
           "ls<f",
           "(ls)",
           "{ls",
           "ls}",
           "ls $A",
           "ls `ls`",
           "ls 'a'",
           "ls \"a\"",
           "ls a\\b",
           "ls *",
           "ls ?",
           "ls [a]",
           "ls #a",
           "ls ~",
           "ls !a",
           "ls ^a",
           "ls\nls",
           "ls\rls",
           "ls \x80",
           "ls\vls",
           "ls \x7f",
           // Assignments, options, what shells have themselves.
           "A=b",
           "A=b ls",
           "-ls",
           "+ls",
           "@ls",
           "%1",
           ",ls",
           ":",
           ".",
           "=ls",
           "echo hi",
           "cd",
           "true",
           "if",
           "while",
           "exec ls",
           "command ls",
           "[",
           "test",
           "time ls",
           "zmodload",
           "alias",
       }) {
    EXPECT_FALSE(commands::PlainCommand(command).IsPlain()) << command;
  }
}

TEST_F(PlainCommand, AnEnvironmentThatShellsFollowIsTheirs) {
  struct Case {
    const char *name, *value;
    bool is_plain;
  };
  for (const Case& one : {Case{"HARMLESS_1", "a b;c", true}, Case{"ENV", "/x", false},
                          Case{"BASH_ENV", "/x", false},     Case{"SHELLOPTS", "xtrace", false},
                          Case{"BASHOPTS", "x", false},      Case{"IFS", "/", false},
                          Case{"OPTIND", "3", false},        Case{"PPID", "1", false},
                          Case{"LINENO", "1", false},        Case{"BASH_FUNC_ls%%", "() { :; }", false},
                          Case{"with.dot", "1", false},      Case{"1st", "1", false},
                          Case{"PATH", nullptr, false},      Case{"PATH", "/bin:%func", false},
                          Case{"PATH", "~/bin:/bin", false}, Case{"PATH", "", true},
                          Case{"PWD", nullptr, false},       Case{"PWD", ".", false},
                          Case{"PWD", "/dev", false},        Case{"PWD", "/missing", false}}) {
    const EnvironmentVariable variable(one.name, one.value);
    EXPECT_EQ(commands::PlainCommand("ls").IsPlain(), one.is_plain) << one.name << '=' << (one.value ? one.value : "");
  }
}

TEST_F(PlainCommand, EachVariableThatShellsSetThemselvesIsTheirs) {
  for (const char* name : {"BASHOPTS", "BASH_ENV", "ENV", "EPOCHREALTIME", "EPOCHSECONDS", "HISTCMD", "IFS", "LINENO",
                           "OPTERR", "OPTIND", "PPID", "PS4", "RANDOM", "SECONDS", "SHELLOPTS", "SRANDOM"}) {
    for (const char* value : {"1", ""}) {
      const EnvironmentVariable variable(name, value);
      EXPECT_FALSE(commands::PlainCommand("ls").IsPlain()) << name;
    }
    const EnvironmentVariable longer((std::string(name) + "X").c_str(), "1");
    EXPECT_TRUE(commands::PlainCommand("ls").IsPlain()) << name;
  }
}

TEST_F(PlainCommand, EachDetourToTheCurrentFolderIsTheShells) {
  const support::TempFolder temp;
  const support::CurrentFolder current(temp.Path());
  const std::string folder = CurrentFolder();
  const std::size_t slash = folder.rfind('/');
  const std::string above = folder.substr(0, slash), name = folder.substr(slash + 1);
  ASSERT_EQ(symlink(".", temp.File("link").c_str()), 0);
  ASSERT_EQ(mkdir(temp.File("inside").c_str(), 0700), 0);
  const struct {
    std::string path;
    bool is_plain;
  } cases[] = {{folder, true},
               {temp.File("link"), true},
               {'/' + folder, false},
               {above + "//" + name, false},
               {above + "/./" + name, false},
               {folder + "/../" + name, false},
               {folder + '/', false},
               {folder + "/.", false},
               {folder + "/inside/..", false},
               {folder + "/inside", false},
               {".", false},
               {"", false}};
  for (const auto& one : cases) {
    const EnvironmentVariable variable("PWD", one.path.c_str());
    EXPECT_EQ(commands::PlainCommand("ls").IsPlain(), one.is_plain) << one.path;
  }
}

TEST_F(PlainCommand, TheRootIsNoDetour) {
  const support::CurrentFolder current("/");
  const EnvironmentVariable variable("PWD", "/");
  EXPECT_TRUE(commands::PlainCommand("ls").IsPlain());
}

// A name with a dot at its beginning or its end is one like any other.
TEST_F(PlainCommand, DotsInNamesAreNoDetours) {
  const support::TempFolder temp;
  for (const char* name : {".hidden", "end.", "end..", "..."}) {
    ASSERT_EQ(mkdir(temp.File(name).c_str(), 0700), 0);
    const support::CurrentFolder current(temp.File(name));
    const EnvironmentVariable variable("PWD", CurrentFolder().c_str());
    EXPECT_TRUE(commands::PlainCommand("ls").IsPlain()) << name;
  }
}

// --- Beside the shell itself ---

/// What a command gives whose output and errors are collected.
struct Outcome {
  int status = -1;
  std::string text;

  bool operator==(const Outcome&) const = default;
};

void PrintTo(const Outcome& outcome, std::ostream* stream) { *stream << outcome.status << ' ' << outcome.text; }

/// Collects what is written to standard error too, so that the words of a shell that fails are compared.
template <class Start>
Outcome Collect(Start start) {
  const int file = memfd_create("outcome", MFD_CLOEXEC);
  const int errors = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  dup2(file, STDERR_FILENO);
  const int process = start(file);
  Outcome outcome;
  if (process > 0) waitpid(process, &outcome.status, 0);
  dup2(errors, STDERR_FILENO);
  close(errors);
  outcome.text.resize(static_cast<std::size_t>(lseek(file, 0, SEEK_END)));
  const ssize_t size = pread(file, outcome.text.data(), outcome.text.size(), 0);
  EXPECT_EQ(size, static_cast<ssize_t>(outcome.text.size()));
  close(file);
  return outcome;
}

Outcome OfOurs(const std::string& command) {
  return Collect([&](int output) { return commands::StartCommand(command.c_str(), -1, output); });
}

Outcome OfTheShell(const std::string& command) {
  return Collect([&](int output) {
    std::string text = command;
    char shell[] = "sh", option[] = "-c";
    char* const arguments[] = {shell, option, text.data(), nullptr};
    platform::ChildProgram child;
    child.program = "/bin/sh";
    child.arguments = arguments;
    child.environment = platform::Environment();
    child.output = output;
    return platform::StartProgram(child);
  });
}

class BesideTheShell : public PlainCommand {
 protected:
  BesideTheShell() {
    Program("first/both", "#!/bin/sh\necho first \"$0\" \"$@\"\n", 0755);
    Program("second/both", "#!/bin/sh\necho second\n", 0755);
    Program("first/later", "#!/bin/sh\necho no\n", 0644);
    Program("second/later", "#!/bin/sh\necho later\n", 0755);
    Program("first/script", "echo a script \"$0\" \"$@\"\n", 0755);
    Program("first/nothing", "", 0755);
    Program("first/odd", "#!/missing/interpreter\n", 0755);
    Program("first/killed", "#!/bin/sh\necho said\nkill -TERM $$\n", 0755);
    Program("first/seven", "#!/bin/sh\nexit 7\n", 0755);
    Program("first/forbidden", "#!/bin/sh\n", 0644);
    mkdir(folder_.File("first/inside").c_str(), 0755);
  }

  void Program(const std::string& name, const std::string& text, mode_t mode) {
    mkdir(folder_.File(name.substr(0, name.find('/'))).c_str(), 0755);
    chmod(folder_.Write(name, text).c_str(), mode);
  }

  support::TempFolder folder_;
};

TEST_F(BesideTheShell, TheBytesAndTheEndAreTheSame) {
  const std::string first = folder_.File("first"), second = folder_.File("second");
  const std::string paths[] = {first + ':' + second + ":/usr/bin:/bin",
                               "/missing:" + second + ":" + first + ":/bin",
                               ":/bin",
                               "",
                               "first:/bin",
                               "/usr/bin:/bin"};
  const std::vector<std::string> all = {"both a b",
                                        "both",
                                        "later",
                                        "script a b",
                                        "nothing",
                                        "odd",

                                        "seven",
                                        "forbidden",
                                        "inside",
                                        first + "/both x",
                                        first + "/script x",
                                        first + "/nothing",
                                        first + "/odd",

                                        first + "/forbidden",
                                        first + "/inside",
                                        first + "/missing",
                                        first,
                                        "missing",
                                        "./missing",
                                        "../missing x",
                                        "first/both",
                                        "first//both",
                                        "./first/script 1",
                                        "ls -a first",
                                        "printenv PWD",
                                        "printenv HOME PATH",
                                        "date +%Y-%m",
                                        "id -u",
                                        "echo hi",
                                        "true",
                                        "false",
                                        "exit 3",
                                        "cd /",
                                        "pwd",
                                        "A=b printenv A",
                                        "echo a | /bin/cat",
                                        "kill -9 $$",
                                        "",
                                        " ",
                                        "sh -c both",
                                        "basename a/b",
                                        "expr 1 + 1",
                                        "uname -s",
                                        "which both",
                                        "which missing",
                                        "-x",
                                        "--",
                                        "+x",
                                        "env A=1 printenv A",
                                        std::string(300, 'x'),
                                        "./" + std::string(300, 'x'),
                                        "..",
                                        "a/../b",
                                        "ls " + std::string(5000, '/'),
                                        "printf a%sb x",
                                        "/bin/printf a%sb x",
                                        "umask",
                                        "ulimit -n",
                                        "type ls"};
  const support::CurrentFolder folder(folder_.Path());
  const EnvironmentVariable current("PWD", CurrentFolder().c_str());
  for (const std::string& path : paths) {
    const EnvironmentVariable variable("PATH", path.c_str());
    for (const std::string& command : all) EXPECT_EQ(OfOurs(command), OfTheShell(command)) << command << " in " << path;
  }
}

// A shell that stays until the program has ended says on standard error which signal ended it, and makes an exit code
// of it; one that becomes the program does not. No pipe tells either.
TEST_F(BesideTheShell, AnEndBySignalIsTheProgramsOwn) {
  const Outcome ours = OfOurs(folder_.File("first/killed"));
  EXPECT_TRUE(WIFSIGNALED(ours.status) && WTERMSIG(ours.status) == SIGTERM);
  EXPECT_EQ(ours.text, "said\n");
  const Outcome shells = OfTheShell(folder_.File("first/killed"));
  EXPECT_TRUE(shells.status == ours.status || WEXITSTATUS(shells.status) == 128 + SIGTERM);
  EXPECT_EQ(shells.text.substr(0, 5), "said\n");
}

}  // namespace
