// System calls that fail under pipes, commands and privileged tools. The definitions here take the place of the C
// library's for everything that is linked into this program; nobody sleeps.

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tests/support/open_descriptors.h>
#include <tillvane/platform/authorization.h>
#include <tillvane/platform/pipe.h>
#include <tillvane/system/LPipe.h>
#include <tillvane/system/LRunCommand.h>

namespace {

// Which calls of what name fail, and with what, while this is set: asked with each call's name and number from 0.
std::function<int(const std::string& call, int number)> on_call;
std::vector<std::pair<std::string, int>> counts;
std::vector<timespec> pauses;
uid_t user;

/// \return the error that the call is to fail with, 0 for none
int Fails(const char* call) {
  if (!on_call) return 0;
  int number = 0;
  for (auto& [name, count] : counts) {
    if (name == call) number = count++;
  }
  if (number == 0) counts.emplace_back(call, 1);
  const int error = on_call(call, number);
  if (error != 0) support::NoteFault(call, error);
  return error;
}

using support::Next;

/// The call itself, or its failure with errno.
template <class Function, class... Arguments>
auto CallOrFail(Function* function, const char* name, Arguments... arguments) -> decltype(function(arguments...)) {
  const int error = Fails(name);
  if (error == 0) return Next(function, name)(arguments...);
  errno = error;
  return static_cast<decltype(function(arguments...))>(-1);
}

/// The same for what answers the error.
template <class Function, class... Arguments>
int CallOrError(Function* function, const char* name, Arguments... arguments) {
  const int error = Fails(name);
  return error == 0 ? Next(function, name)(arguments...) : error;
}

}  // namespace

extern "C" {

int pipe2(int ends[2], int flags) noexcept { return CallOrFail(&pipe2, "pipe2", ends, flags); }

ssize_t read(int descriptor, void* bytes, size_t size) { return CallOrFail(&read, "read", descriptor, bytes, size); }

ssize_t write(int descriptor, const void* bytes, size_t size) {
  return CallOrFail(&write, "write", descriptor, bytes, size);
}

pid_t waitpid(pid_t process, int* status, int options) {
  return CallOrFail(&waitpid, "waitpid", process, status, options);
}

FILE* fdopen(int descriptor, const char* mode) noexcept {
  const int error = Fails("fdopen");
  if (error == 0) return Next(&fdopen, "fdopen")(descriptor, mode);
  errno = error;
  return nullptr;
}

int open(const char* path, int flags, ...) {
  mode_t mode = 0;
  if ((flags & O_CREAT) != 0) {
    va_list arguments;
    va_start(arguments, flags);
    mode = va_arg(arguments, mode_t);
    va_end(arguments);
  }
  const int error = Fails("open");
  if (error == 0) return Next(&open, "open")(path, flags, mode);
  errno = error;
  return -1;
}

int posix_spawnp(pid_t* process, const char* program, const posix_spawn_file_actions_t* actions,
                 const posix_spawnattr_t* attributes, char* const* arguments, char* const* environment) {
  return CallOrError(&posix_spawnp, "posix_spawnp", process, program, actions, attributes, arguments, environment);
}

int posix_spawn_file_actions_init(posix_spawn_file_actions_t* actions) noexcept {
  return CallOrError(&posix_spawn_file_actions_init, "posix_spawn_file_actions_init", actions);
}

int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int from, int to) noexcept {
  return CallOrError(&posix_spawn_file_actions_adddup2, "posix_spawn_file_actions_adddup2", actions, from, to);
}

int posix_spawnattr_init(posix_spawnattr_t* attributes) noexcept {
  return CallOrError(&posix_spawnattr_init, "posix_spawnattr_init", attributes);
}

int posix_spawnattr_setsigmask(posix_spawnattr_t* attributes, const sigset_t* signals) noexcept {
  return CallOrError(&posix_spawnattr_setsigmask, "posix_spawnattr_setsigmask", attributes, signals);
}

int posix_spawnattr_setsigdefault(posix_spawnattr_t* attributes, const sigset_t* signals) noexcept {
  return CallOrError(&posix_spawnattr_setsigdefault, "posix_spawnattr_setsigdefault", attributes, signals);
}

int posix_spawnattr_setflags(posix_spawnattr_t* attributes, short flags) noexcept {
  return CallOrError(&posix_spawnattr_setflags, "posix_spawnattr_setflags", attributes, flags);
}

int nanosleep(const timespec* time, timespec* left) {
  pauses.push_back(*time);
  const int error = Fails("nanosleep");
  if (error == 0) return 0;
  *left = {0, time->tv_nsec / 2};
  errno = error;
  return -1;
}

uid_t getuid() noexcept { return user; }
uid_t geteuid() noexcept { return user; }

}  // extern "C"

namespace {

class CommandsFault : public testing::Test {
 protected:
  CommandsFault() { user = Next(&getuid, "getuid")(); }
  ~CommandsFault() override { Reset(); }

  static void Reset() {
    on_call = {};
    counts.clear();
    pauses.clear();
  }

  /// From now on the calls of this name fail from a number on, so many times.
  static void Fail(const std::string& name, int from, int error, int times = 1) {
    Reset();
    on_call = [=](const std::string& call, int number) {
      return call == name && number >= from && number < from + times ? error : 0;
    };
  }

  static bool HasChildren() { return Next(&waitpid, "waitpid")(-1, nullptr, WNOHANG) != -1; }
};

struct Case {
  const char* call;
  int number, error;
};

constexpr int kAlways = 1000000;

// Whatever fails, the pipe is closed, nothing is left open, and no child is left.
template <class Pipe>
void ExpectNoPipe(Pipe& pipe, const char* command) {
  const support::OpenDescriptors before = support::ListOpenDescriptors();
  EXPECT_FALSE(pipe._Open(command));
  on_call = {};
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
  EXPECT_EQ(pipe.process, -1);
}

TEST_F(CommandsFault, APipeThatCannotBeOpenedIsClosed) {
  for (const Case& one :
       {Case{"pipe2", 0, EMFILE}, Case{"pipe2", 0, ENFILE}, Case{"fdopen", 0, ENOMEM},
        Case{"posix_spawn_file_actions_init", 0, ENOMEM}, Case{"posix_spawn_file_actions_adddup2", 0, ENOMEM},
        Case{"posix_spawnattr_init", 0, ENOMEM}, Case{"posix_spawnattr_setsigmask", 0, EINVAL},
        Case{"posix_spawnattr_setsigdefault", 0, EINVAL}, Case{"posix_spawnattr_setflags", 0, EINVAL},
        Case{"posix_spawnp", 0, EAGAIN}, Case{"posix_spawnp", 0, ENOMEM}}) {
    for (const char* command : {"echo hi", "/bin/echo hi"}) {
      SCOPED_TRACE(std::string(one.call) + ' ' + command);
      LPipeIn in;
      Fail(one.call, one.number, one.error, kAlways);
      ExpectNoPipe(in, command);
      EXPECT_EQ(in.stream, nullptr);
      EXPECT_EQ(in.filedes, -1);
      LPipeOut out;
      Fail(one.call, one.number, one.error, kAlways);
      ExpectNoPipe(out, command);
      EXPECT_EQ(out.stream, nullptr);
      EXPECT_EQ(out.filedes, -1);
      if (one.call == std::string("fdopen")) continue;
      LPipeInOut both;
      Fail(one.call, one.number, one.error, kAlways);
      ExpectNoPipe(both, command);
      EXPECT_EQ(both.readFiledes, -1);
      EXPECT_EQ(both.writeFiledes, -1);
      EXPECT_FALSE(HasChildren());
    }
  }
}

TEST_F(CommandsFault, TheFirstOfTwoPipesIsNotLeftOpen) {
  LPipeInOut pipe;
  Fail("pipe2", 1, EMFILE);
  ExpectNoPipe(pipe, "cat");
}

TEST_F(CommandsFault, TheSecondStreamOfAChildFailsItToo) {
  LPipeInOut pipe;
  Fail("posix_spawn_file_actions_adddup2", 1, ENOMEM, kAlways);
  ExpectNoPipe(pipe, "/bin/cat");
}

// What cannot be started without a shell is the shell's to start.
TEST_F(CommandsFault, TheShellStartsWhatCouldNotBeStartedWithoutIt) {
  // One that no shell has to read, wherever this runs.
  const support::OwnEnvironment environment;
  const support::EnvironmentVariable path("PATH", "/usr/bin:/bin");
  const support::EnvironmentVariable folder("PWD", std::filesystem::current_path().c_str());
  LPipeIn pipe;
  Fail("posix_spawnp", 0, ENOEXEC);
  ASSERT_TRUE(pipe._Open("/bin/echo hi"));
  char text[8] = "";
  EXPECT_EQ(pipe.Read(text, sizeof text), 3U);
  EXPECT_STREQ(text, "hi\n");
}

TEST_F(CommandsFault, ReadsAndWritesGoOnThroughInterruptions) {
  for (const int error : {EINTR, EAGAIN}) {
    LPipeInOut pipe;
    ASSERT_TRUE(pipe._Open("cat"));
    Fail("write", 0, error, 3);
    EXPECT_EQ(pipe.Write("text", 4), 4U);
    Fail("read", 0, error, 3);
    char text[8] = "";
    EXPECT_EQ(pipe.Read(text, sizeof text), 4U);
    EXPECT_STREQ(text, "text");
    Reset();
    LPipeIn in;
    ASSERT_TRUE(in._Open("echo hi"));
    Fail("read", 0, error, 3);
    EXPECT_EQ(in.Read(text, sizeof text), 3U);
  }
}

TEST_F(CommandsFault, AnyOtherErrorEndsAPipe) {
  for (const int error : {EIO, EBADF, EISDIR}) {
    LPipeIn in;
    ASSERT_TRUE(in._Open("echo hi"));
    Fail("read", 0, error);
    char byte;
    EXPECT_EQ(in.Read(&byte, 1), 0U);
    EXPECT_EQ(in.stream, nullptr);
    EXPECT_EQ(in.filedes, -1);
    LPipeOut out;
    Reset();
    ASSERT_TRUE(out._Open("cat"));
    Fail("write", 0, error);
    EXPECT_EQ(out.Write("x", 1), 0U);
    EXPECT_EQ(out.stream, nullptr);
    EXPECT_FALSE(HasChildren());
  }
}

TEST_F(CommandsFault, AChildIsReapedThroughInterruptions) {
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("echo hi"));
  Fail("waitpid", 0, EINTR, 3);
  pipe.Close();
  EXPECT_EQ(pipe.process, -1);
  EXPECT_FALSE(HasChildren());
}

TEST_F(CommandsFault, AChildThatSomebodyElseReapedIsGone) {
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("true"));
  ASSERT_EQ(Next(&waitpid, "waitpid")(pipe.process, nullptr, 0), pipe.process);
  pipe.Close();
  EXPECT_EQ(pipe.process, -1);
}

TEST_F(CommandsFault, ThePauseIsATenthOfASecondThroughInterruptions) {
  Fail("nanosleep", 0, EINTR, 2);
  LStringLong output;
  LRunCommandAndGetOutputAsString(output, "echo hi");
  EXPECT_STREQ(output.c_str(), "hi\n");
  ASSERT_EQ(pauses.size(), 3U);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(pauses[static_cast<std::size_t>(i)].tv_sec, 0);
    EXPECT_EQ(pauses[static_cast<std::size_t>(i)].tv_nsec, 100000000 >> i);
  }
}

TEST_F(CommandsFault, ACommandThatCannotBeStartedGivesNoOutput) {
  LStringLong output;
  output = "what was there";
  Fail("pipe2", 0, EMFILE);
  LRunCommandAndGetOutputAsString(output, "echo hi");
  EXPECT_STREQ(output.c_str(), "");
  char path[260] = "?";
  Fail("pipe2", 0, EMFILE);
  LUnixExecutableGetAbsolutePath(path, "ls");
  EXPECT_STREQ(path, "");
}

// --- Tools with privilege, as the administrator ---

int RunAsRoot() {
  user = 0;
  LProcessInterfaceVoid process;
  return LRunCommandWithPrivilege(process, "/bin/echo unheard", false);
}

TEST_F(CommandsFault, AToolThatCannotBeStartedIsAFailure) {
  for (const Case& one :
       {Case{"pipe2", 0, EMFILE}, Case{"open", 0, EMFILE}, Case{"posix_spawnp", 0, ENOENT},
        Case{"posix_spawn_file_actions_init", 0, ENOMEM}, Case{"posix_spawn_file_actions_adddup2", 0, ENOMEM},
        Case{"posix_spawn_file_actions_adddup2", 1, ENOMEM}, Case{"posix_spawnattr_init", 0, ENOMEM}}) {
    SCOPED_TRACE(one.call);
    const support::OpenDescriptors before = support::ListOpenDescriptors();
    Fail(one.call, one.number, one.error, kAlways);
    EXPECT_EQ(RunAsRoot(), 2);
    on_call = {};
    EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
    EXPECT_FALSE(HasChildren());
  }
}

TEST_F(CommandsFault, AToolsOutputIsReadThroughInterruptions) {
  Fail("read", 0, EINTR, 2);
  user = 0;
  LProcessInterfaceVoid process;
  testing::internal::CaptureStdout();
  EXPECT_EQ(LRunCommandWithPrivilege(process, "/bin/echo heard", true), 0);
  on_call = {};
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "heard\n");
  EXPECT_FALSE(HasChildren());
}

TEST_F(CommandsFault, StandardOutputThatTakesNothingDoesNotEndTheTool) {
  Fail("write", 0, EPIPE, kAlways);
  user = 0;
  LProcessInterfaceVoid process;
  EXPECT_EQ(LRunCommandWithPrivilege(process, "/usr/bin/head -c 1000000 /dev/zero", true), 0);
  on_call = {};
  EXPECT_FALSE(HasChildren());
}

}  // namespace
