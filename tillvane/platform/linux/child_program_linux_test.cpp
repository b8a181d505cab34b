#include <tillvane/platform/child_program.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/environment_variable.h>
#include <tillvane/platform/pipe.h>

namespace {

/// Starts a program. \return its output, and its exit code
struct Ran {
  explicit Ran(std::vector<std::string> words, char* const* environment = platform::Environment()) {
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int ends[2];
    EXPECT_TRUE(platform::OpenChildPipe(ends));
    platform::ChildProgram child;
    child.program = arguments[0];
    child.arguments = arguments.data();
    child.environment = environment;
    child.output = ends[1];
    const int process = platform::StartProgram(child);
    error = process < 0 ? errno : 0;
    close(ends[1]);
    char buffer[4096];
    for (ssize_t count; (count = read(ends[0], buffer, sizeof buffer)) > 0;) {
      output.append(buffer, static_cast<std::size_t>(count));
    }
    close(ends[0]);
    if (process > 0) exit_code = platform::WaitForProgram(process);
  }

  int error = 0, exit_code = -1;
  std::string output;
};

TEST(ChildProgram, IsAPathOrANameInThePath) {
  const support::EnvironmentVariable path("PATH", "/missing:/usr/bin:/bin");
  for (const char* program : {"/bin/sh", "sh"}) {
    const Ran run({program, "-c", "echo \"$1\"; exit 5", "name", "a  b"});
    EXPECT_EQ(run.output, "a  b\n");
    EXPECT_EQ(run.exit_code, 5);
  }
}

TEST(ChildProgram, SaysWhyItDoesNotRun) {
  EXPECT_EQ(Ran({"/missing"}).error, ENOENT);
  EXPECT_EQ(Ran({"no-such-program"}).error, ENOENT);
  EXPECT_EQ(Ran({"/etc"}).error, EACCES);
}

TEST(ChildProgram, AnEndBySignalHasNoExitCode) { EXPECT_EQ(Ran({"/bin/sh", "-c", "kill -TERM $$"}).exit_code, -1); }

TEST(ChildProgram, HasTheEnvironmentThatItIsGiven) {
  char variable[] = "A=1";
  char* const environment[] = {variable, nullptr};
  EXPECT_EQ(Ran({"/usr/bin/env"}, environment).output, "A=1\n");
}

/// The program's own line of /proc/self/status.
unsigned long long Mask(const std::string& name) {
  const Ran run({"/bin/grep", name, "/proc/self/status"});
  return std::stoull(run.output.substr(run.output.find('\t')), nullptr, 16);
}

unsigned long long Bit(int signal) { return 1ULL << (signal - 1); }

TEST(ChildProgram, BeginsWithItsOwnSignals) {
  struct Restored {
    explicit Restored(int number) : signal(number), before(::signal(number, SIG_IGN)) {}
    ~Restored() { ::signal(signal, before); }
    int signal;
    void (*before)(int);
  };
  const Restored pipe(SIGPIPE), child(SIGCHLD), hang_up(SIGHUP);
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const unsigned long long blocked = Mask("SigBlk");
  // A host that is to survive its terminal wants that of its commands too.
  const unsigned long long ignored = Mask("SigIgn");
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  EXPECT_EQ(blocked, 0U);
  EXPECT_EQ(ignored & (Bit(SIGPIPE) | Bit(SIGCHLD) | Bit(SIGHUP)), Bit(SIGHUP));
}

TEST(ChildPipe, IsClosedOnExecAndBlocks) {
  int ends[2];
  ASSERT_TRUE(platform::OpenChildPipe(ends));
  for (const int end : ends) {
    EXPECT_EQ(fcntl(end, F_GETFD), FD_CLOEXEC);
    EXPECT_EQ(fcntl(end, F_GETFL) & O_NONBLOCK, 0);
    close(end);
  }
}

TEST(ChildPipe, LiesAboveTheStandardStreamsEvenIfTheyAreClosed) {
  const int copies[] = {fcntl(0, F_DUPFD_CLOEXEC, 10), fcntl(1, F_DUPFD_CLOEXEC, 10), fcntl(2, F_DUPFD_CLOEXEC, 10)};
  int ends[2], flags[2];
  for (int i = 0; i < 3; ++i) close(i);
  const bool is_open = platform::OpenChildPipe(ends);
  for (int i = 0; i < 2; ++i) flags[i] = fcntl(ends[i], F_GETFD);
  const bool are_free = fcntl(0, F_GETFD) < 0 && fcntl(1, F_GETFD) < 0 && fcntl(2, F_GETFD) < 0;
  for (int i = 0; i < 3; ++i) {
    dup2(copies[i], i);
    close(copies[i]);
  }
  ASSERT_TRUE(is_open);
  EXPECT_TRUE(are_free);
  for (int i = 0; i < 2; ++i) {
    EXPECT_GT(ends[i], 2);
    EXPECT_EQ(flags[i], FD_CLOEXEC);
    close(ends[i]);
  }
}

TEST(ReapProgram, IsFalseWhileItRuns) {
  char program[] = "/bin/cat";
  char* const arguments[] = {program, nullptr};
  int ends[2];
  ASSERT_TRUE(platform::OpenChildPipe(ends));
  platform::ChildProgram child;
  child.program = program;
  child.arguments = arguments;
  child.input = ends[0];
  const int process = platform::StartProgram(child);
  ASSERT_GT(process, 0);
  EXPECT_FALSE(platform::ReapProgram(process));
  close(ends[0]);
  close(ends[1]);
  EXPECT_EQ(platform::WaitForProgram(process), 0);
  EXPECT_TRUE(platform::ReapProgram(process)) << "somebody else did it";
  EXPECT_EQ(platform::WaitForProgram(process), -1);
}

}  // namespace
