#include <tillvane/system/command_output.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/guarded_buffer.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/system/LRunCommand.h>

namespace {

using support::EnvironmentVariable;

std::string OutputOf(const std::string& command) {
  LStringLong output;
  output = "what was there";
  LRunCommandAndGetOutputAsString(output, command.c_str());
  EXPECT_LE(output.size() + 1, output.capacity());
  return {output.c_str(), output.size()};
}

/// The same without the pause, for many of them.
std::string CollectedFrom(const std::string& command) {
  LStringLong output;
  LPipeIn pipe;
  EXPECT_TRUE(pipe._Open(command.c_str()));
  commands::AppendOutput(output, pipe);
  EXPECT_EQ(pipe.stream, nullptr);
  return {output.c_str(), output.size()};
}

TEST(RunCommandAndGetOutput, IsAllThatTheCommandWrites) {
  EXPECT_EQ(OutputOf("echo hi"), "hi\n");
  EXPECT_EQ(OutputOf("/bin/echo hi"), "hi\n");
  EXPECT_EQ(OutputOf("true"), "");
  EXPECT_EQ(OutputOf("echo a; sleep 0.2; echo b"), "a\nb\n");
  EXPECT_EQ(OutputOf("exit 3"), "");
}

TEST(RunCommandAndGetOutput, IsEmptyWhereThereIsNoCommand) {
  LStringLong output;
  output = "what was there";
  LRunCommandAndGetOutputAsString(output, nullptr);
  EXPECT_EQ(output.size(), 0U);
  EXPECT_STREQ(output.c_str(), "");
  LStringLong none;
  LRunCommandAndGetOutputAsString(none, "true");
  EXPECT_STREQ(none.c_str(), "");
}

TEST(RunCommandAndGetOutput, GivesTheCommandATenthOfASecond) {
  const support::Stopwatch watch;
  OutputOf("true");
  EXPECT_GE(watch.Ms(), 100);
}

TEST(RunCommandAndGetOutput, TakesAnyLength) {
  for (const int length : {1, 258, 259, 260, 518, 519, 16316, 16317, 16318, 65536, 1000000}) {
    const std::string text = CollectedFrom("head -c " + std::to_string(length) + " /dev/zero | tr '\\0' x");
    EXPECT_EQ(text, std::string(static_cast<std::size_t>(length), 'x')) << length;
  }
}

// The piece that a NUL stands in ends there; the next one begins 259 bytes after its beginning.
TEST(RunCommandAndGetOutput, ANulDropsTheRestOfItsPiece) {
  EXPECT_EQ(CollectedFrom("printf 'ab\\0cd'"), "ab");
  EXPECT_EQ(CollectedFrom("printf '\\0'"), "");
  const support::TempFolder folder;
  std::string text(3 * 259, 'a');
  std::fill(text.begin() + 259, text.begin() + 518, 'b');
  std::fill(text.begin() + 518, text.end(), 'c');
  text[10] = text[259] = '\0';
  const std::string expected = std::string(10, 'a') + std::string(259, 'c');
  EXPECT_EQ(CollectedFrom("cat " + folder.Write("text", text)), expected);
}

// --- Where a program is ---

std::string PathOf(const char* name) {
  support::GuardedBuffer<char> dest(260);
  LUnixExecutableGetAbsolutePath(dest.get(), name);
  EXPECT_TRUE(dest.IsWhole());
  return dest.get();
}

class ExecutableGetAbsolutePath : public testing::Test {
 protected:
  void Program(const std::string& name, const std::string& text) const {
    chmod(folder_.Write(name, text).c_str(), 0755);
  }

  support::TempFolder folder_;
  const EnvironmentVariable path_{"PATH", (folder_.Path() + ":/usr/bin:/bin").c_str()};
};

TEST_F(ExecutableGetAbsolutePath, AnAbsolutePathStaysAsItIs) {
  Program("which", "#!/bin/sh\ntouch " + folder_.File("asked") + '\n');
  for (const char* name : {"/bin/ls", "/", "/missing", "/a b\nc\rd"}) EXPECT_EQ(PathOf(name), name);
  EXPECT_NE(access(folder_.File("asked").c_str(), F_OK), 0) << "nobody is asked about it";
}

TEST_F(ExecutableGetAbsolutePath, AnyOtherNameIsLookedUp) {
  Program("tool", "#!/bin/sh\n");
  EXPECT_EQ(PathOf("tool"), folder_.File("tool"));
  EXPECT_EQ(PathOf("no-such-program"), "");
  EXPECT_EQ(PathOf(""), "");
  EXPECT_EQ(PathOf(nullptr), "");
  folder_.Write("text", "");
  EXPECT_EQ(PathOf("text"), "");
}

TEST_F(ExecutableGetAbsolutePath, IsTheFirstLineOfWhatWhichSays) {
  struct Case {
    const char *said, *path;
  };
  for (const Case& one : {Case{"/a\\n/b\\n", "/a"}, Case{"/a\\r\\n", "/a"}, Case{"/a", "/a"}, Case{"\\n/a", ""},
                          Case{"/a\\0b\\n", "/a"}, Case{"", ""}}) {
    Program("which", std::string("#!/bin/sh\nprintf '") + one.said + "'\n");
    EXPECT_EQ(PathOf("name"), one.path) << one.said;
  }
}

TEST_F(ExecutableGetAbsolutePath, IsCutToWhatThereIsRoomFor) {
  for (const std::size_t length : {258U, 259U, 260U, 1000U}) {
    const std::string name = '/' + std::string(length - 1, 'x'), cut = name.substr(0, 259);
    EXPECT_EQ(PathOf(name.c_str()), cut);
    Program("which", "#!/bin/sh\nprintf " + name + '\n');
    EXPECT_EQ(PathOf("name"), cut);
  }
  // Of the command's line 259 characters are left.
  Program("which", "#!/bin/sh\nprintf \"$1\" | wc -c\n");
  EXPECT_EQ(PathOf(std::string(1000, 'x').c_str()), "253");
}

TEST_F(ExecutableGetAbsolutePath, WithoutWhichNothingIsFound) {
  const EnvironmentVariable path("PATH", "/missing");
  EXPECT_EQ(PathOf("ls"), "");
}

}  // namespace
