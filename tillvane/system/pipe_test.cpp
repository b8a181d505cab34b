#include <tillvane/system/LPipe.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>

#include <tests/support/temp_folder.h>

namespace {

template <class Pipe>
std::string ReadAll(Pipe& pipe) {
  std::string text;
  char buffer[1000];
  while (const unsigned int count = pipe.Read(buffer, sizeof buffer)) text.append(buffer, count);
  return text;
}

std::string FileText(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

bool HasChildren() { return waitpid(-1, nullptr, WNOHANG) != -1; }

template <class Pipe>
void ExpectClosed(const Pipe& pipe) {
  EXPECT_EQ(pipe.stream, nullptr);
  EXPECT_EQ(pipe.filedes, -1);
  EXPECT_EQ(pipe.process, -1);
  EXPECT_FALSE(HasChildren());
}

void ExpectClosed(const LPipeInOut& pipe) {
  EXPECT_EQ(pipe.readFiledes, -1);
  EXPECT_EQ(pipe.writeFiledes, -1);
  EXPECT_EQ(pipe.process, -1);
  EXPECT_FALSE(HasChildren());
}

bool IsClosedOnExec(int descriptor) { return fcntl(descriptor, F_GETFD) == FD_CLOEXEC; }

/// What the library sees to when it is loaded; a sanitizer's tests undo that.
class WithoutSigpipe {
 public:
  WithoutSigpipe() : before_(signal(SIGPIPE, SIG_IGN)) {}
  ~WithoutSigpipe() { signal(SIGPIPE, before_); }
  WithoutSigpipe(const WithoutSigpipe&) = delete;
  WithoutSigpipe& operator=(const WithoutSigpipe&) = delete;

 private:
  void (*before_)(int);
};

// --- From a command ---

TEST(LPipeIn, ReadsWhatACommandWrites) {
  for (const char* command : {"echo hi", "/bin/echo hi"}) {
    LPipeIn pipe;
    ASSERT_TRUE(pipe._Open(command));
    EXPECT_EQ(fileno(pipe.stream), pipe.filedes);
    EXPECT_TRUE(IsClosedOnExec(pipe.filedes));
    EXPECT_EQ(ReadAll(pipe), "hi\n") << command;
    ExpectClosed(pipe);
  }
}

TEST(LPipeIn, ALengthOfZeroReadsNothingAndLeavesItOpen) {
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("echo hi"));
  char byte = 'x';
  EXPECT_EQ(pipe.Read(&byte, 0), 0U);
  EXPECT_EQ(byte, 'x');
  EXPECT_GE(pipe.filedes, 0);
  EXPECT_NE(pipe.stream, nullptr);
  EXPECT_EQ(ReadAll(pipe), "hi\n");
}

TEST(LPipeIn, TheEndClosesIt) {
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("exit 3"));
  char byte;
  EXPECT_EQ(pipe.Read(&byte, 1), 0U);
  ExpectClosed(pipe);
  EXPECT_EQ(pipe.Read(&byte, 1), 0U);
}

TEST(LPipeIn, AnErrorClosesIt) {
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("echo hi"));
  EXPECT_EQ(pipe.Read(nullptr, 10), 0U);
  ExpectClosed(pipe);
}

TEST(LPipeIn, GivesWhatIsThereAndNoMoreThanAskedFor) {
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("printf abcdef"));
  char buffer[8] = "";
  EXPECT_EQ(pipe.Read(buffer, 4), 4U);
  EXPECT_EQ(pipe.Read(buffer + 4, 4), 2U);
  EXPECT_STREQ(buffer, "abcdef");
}

TEST(LPipeIn, WaitsWhereSomebodyMadeItNonBlocking) {
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("sleep 0.1; echo late"));
  ASSERT_EQ(fcntl(pipe.filedes, F_SETFL, O_NONBLOCK), 0);
  EXPECT_EQ(ReadAll(pipe), "late\n");
}

TEST(LPipeIn, IsAStreamToo) {
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("echo one; echo two"));
  char line[16] = "";
  EXPECT_NE(std::fgets(line, sizeof line, pipe.stream), nullptr);
  EXPECT_STREQ(line, "one\n");
}

TEST(LPipeIn, ClosingEndsACommandThatWritesOn) {
  for (const char* command : {"while :; do echo x; done", "yes"}) {
    LPipeIn pipe;
    ASSERT_TRUE(pipe._Open(command));
    char byte;
    EXPECT_EQ(pipe.Read(&byte, 1), 1U);
    pipe.Close();
    ExpectClosed(pipe);
    pipe.Close();
  }
}

TEST(LPipeIn, OpenedAgainItIsClosedFirst) {
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("echo one"));
  ASSERT_TRUE(pipe._Open("echo two"));
  EXPECT_EQ(ReadAll(pipe), "two\n");
  EXPECT_FALSE(pipe._Open(nullptr));
  ExpectClosed(pipe);
}

TEST(LPipeIn, TheEndOfTheObjectClosesIt) {
  {
    LPipeIn pipe;
    ASSERT_TRUE(pipe._Open("echo hi"));
  }
  EXPECT_FALSE(HasChildren());
}

/// The descriptors that a command has beside those that whoever started the tests left to everybody.
std::set<int> DescriptorsOf(LPipeIn& listing) {
  std::istringstream lines(ReadAll(listing));
  std::set<int> all;
  for (int descriptor; lines >> descriptor;) {
    const int flags = fcntl(descriptor, F_GETFD);
    if (flags < 0 || (flags & FD_CLOEXEC) != 0) all.insert(descriptor);
  }
  return all;
}

TEST(LPipeIn, ACommandInheritsNothingButItsStandardStreams) {
  for (const char* command : {"/bin/ls /proc/self/fd", "ls /proc/self/fd | cat"}) {
    LPipeIn in, listing;
    LPipeOut out;
    LPipeInOut both;
    ASSERT_TRUE(in._Open("sleep 0.05"));
    ASSERT_TRUE(out._Open("cat"));
    ASSERT_TRUE(both._Open("cat"));
    ASSERT_TRUE(listing._Open(command));
    EXPECT_EQ(DescriptorsOf(listing).size(), 1U) << command << ": only the folder that it lists";
  }
}

TEST(LPipeIn, SigpipeEndsWhatACommandStarts) {
  const WithoutSigpipe ignored;
  LPipeIn pipe;
  ASSERT_TRUE(pipe._Open("{ { yes; echo $? >&3; } | head -n 1 >/dev/null; } 3>&1"));
  EXPECT_EQ(ReadAll(pipe), "141\n");
}

// --- To a command ---

TEST(LPipeOut, WritesWhatACommandReads) {
  const support::TempFolder folder;
  const std::string text(1000000, 'x');
  {
    LPipeOut pipe;
    ASSERT_TRUE(pipe._Open(("cat > " + folder.File("text")).c_str()));
    EXPECT_EQ(fileno(pipe.stream), pipe.filedes);
    EXPECT_TRUE(IsClosedOnExec(pipe.filedes));
    EXPECT_EQ(pipe.Write("", 0), 0U);
    EXPECT_EQ(pipe.Write(text.data(), static_cast<unsigned int>(text.size())), text.size());
    pipe.Close();
    ExpectClosed(pipe);
    EXPECT_EQ(pipe.Write("x", 1), 0U);
  }
  EXPECT_EQ(FileText(folder.File("text")), text);
}

TEST(LPipeOut, TheStreamKeepsItsPlaceInTheOrder) {
  const support::TempFolder folder;
  LPipeOut pipe;
  ASSERT_TRUE(pipe._Open(("cat > " + folder.File("text")).c_str()));
  std::fputs("one ", pipe.stream);
  EXPECT_EQ(pipe.Write("two ", 4), 4U);
  std::fputs("three", pipe.stream);
  pipe.Close();
  EXPECT_EQ(FileText(folder.File("text")), "one two three");
}

TEST(LPipeOut, ACommandThatReadsNoMoreClosesIt) {
  const WithoutSigpipe ignored;
  LPipeOut pipe;
  ASSERT_TRUE(pipe._Open("exec <&-; sleep 0.01"));
  const std::string text(1000000, 'x');
  EXPECT_LT(pipe.Write(text.data(), static_cast<unsigned int>(text.size())), text.size());
  ExpectClosed(pipe);
}

TEST(LPipeOut, WaitsWhereSomebodyMadeItNonBlocking) {
  LPipeOut pipe;
  ASSERT_TRUE(pipe._Open("sleep 0.05; cat >/dev/null"));
  ASSERT_EQ(fcntl(pipe.filedes, F_SETFL, O_NONBLOCK), 0);
  const std::string text(1000000, 'x');
  EXPECT_EQ(pipe.Write(text.data(), static_cast<unsigned int>(text.size())), text.size());
}

// --- To and from a command ---

TEST(LPipeInOut, TalksToACommand) {
  LPipeInOut pipe;
  ASSERT_TRUE(pipe._Open("read name; echo hello $name; cat"));
  EXPECT_TRUE(IsClosedOnExec(pipe.readFiledes));
  EXPECT_TRUE(IsClosedOnExec(pipe.writeFiledes));
  EXPECT_GT(pipe.process, 0);
  EXPECT_EQ(pipe.Write("you\n", 4), 4U);
  char buffer[64] = "";
  EXPECT_EQ(pipe.Read(buffer, sizeof buffer), 10U);
  EXPECT_STREQ(buffer, "hello you\n");
  EXPECT_EQ(pipe.Write("rest", 4), 4U);
  pipe.CloseWrite();
  EXPECT_EQ(pipe.writeFiledes, -1);
  EXPECT_EQ(ReadAll(pipe), "rest");
  EXPECT_EQ(pipe.readFiledes, -1);
  pipe.Close();
  ExpectClosed(pipe);
}

TEST(LPipeInOut, EachSideEndsByItself) {
  const WithoutSigpipe ignored;
  LPipeInOut pipe;
  ASSERT_TRUE(pipe._Open("exec >&-; cat >/dev/null"));
  char byte;
  EXPECT_EQ(pipe.Read(&byte, 0), 0U);
  EXPECT_GE(pipe.readFiledes, 0);
  EXPECT_EQ(pipe.Read(&byte, 1), 0U);
  EXPECT_EQ(pipe.readFiledes, -1);
  EXPECT_EQ(pipe.Read(&byte, 1), 0U);
  EXPECT_GE(pipe.writeFiledes, 0);
  ASSERT_TRUE(pipe._Open("exec <&-; echo on; sleep 0.01"));
  const std::string text(1000000, 'x');
  EXPECT_LT(pipe.Write(text.data(), static_cast<unsigned int>(text.size())), text.size());
  EXPECT_EQ(pipe.writeFiledes, -1);
  EXPECT_EQ(pipe.Write("x", 1), 0U);
  EXPECT_EQ(ReadAll(pipe), "on\n");
}

TEST(LPipeInOut, ClosingEndsACommandThatWaitsForEitherSide) {
  for (const char* command : {"cat", "/bin/cat", "yes", "cat; yes"}) {
    LPipeInOut pipe;
    ASSERT_TRUE(pipe._Open(command));
    pipe.Close();
    ExpectClosed(pipe);
  }
  LPipeInOut pipe;
  ASSERT_TRUE(pipe._Open("cat"));
  ASSERT_TRUE(pipe._Open("echo again"));
  EXPECT_EQ(ReadAll(pipe), "again\n");
  EXPECT_FALSE(pipe._Open(nullptr));
  ExpectClosed(pipe);
}

TEST(LPipeInOut, StandardErrorIsThisProcesss) {
  testing::internal::CaptureStderr();
  LPipeInOut pipe;
  ASSERT_TRUE(pipe._Open("echo complaint >&2"));
  EXPECT_EQ(ReadAll(pipe), "");
  pipe.Close();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "complaint\n");
}

TEST(LPipeInOut, WorksWhereTheStandardStreamsAreClosed) {
  const int copies[] = {fcntl(0, F_DUPFD_CLOEXEC, 10), fcntl(1, F_DUPFD_CLOEXEC, 10)};
  close(0);
  close(1);
  std::string said;
  {
    LPipeInOut pipe;
    if (pipe._Open("tr a-z A-Z") && pipe.Write("text", 4) == 4) {
      pipe.CloseWrite();
      said = ReadAll(pipe);
    }
  }
  for (int i = 0; i < 2; ++i) {
    dup2(copies[i], i);
    close(copies[i]);
  }
  EXPECT_EQ(said, "TEXT");
}

}  // namespace
