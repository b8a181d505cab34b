#include <tillvane/diag/LDebugOutput.h>

#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

namespace {

std::string ErrorsOf(const std::function<void()>& function) {
  testing::internal::CaptureStderr();
  function();
  return testing::internal::GetCapturedStderr();
}

TEST(DebugOutput, IsFormattedAsTheCLibraryDoesIt) {
  EXPECT_EQ(ErrorsOf([] { OutputDebugStringF("%s %5.1f|%-4d|%#x%%\n", "text", 1.25, 7, 255U); }),
            "text   1.2|7   |0xff%\n");
}

TEST(DebugOutput, HasNoLineEndOfItsOwn) {
  EXPECT_EQ(ErrorsOf([] {
              OutputDebugStringF("one%s", "");
              OutputDebugStringF("%s", "");
              OutputDebugStringF("two");
            }),
            "onetwo");
}

// With a buffer that would be lost.
TEST(DebugOutput, IsWrittenAtOnce) {
  const auto write_and_go = [] {
    static char buffer[4096];
    std::setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
    OutputDebugStringF("one line\n");
    _exit(0);
  };
  EXPECT_EXIT(write_and_go(), testing::ExitedWithCode(0), "^one line\n$");
}

TEST(DebugOutput, IsCutAt511) {
  for (const std::size_t length : {510U, 511U, 512U, 5000U}) {
    const std::string text(length, 'x');
    EXPECT_EQ(ErrorsOf([&] { OutputDebugStringF("%s", text.c_str()); }), text.substr(0, 511)) << length;
  }
}

/// A character that the C locale has no bytes for.
TEST(DebugOutput, WritesNothingOfWhatCannotBeFormatted) {
  EXPECT_EQ(ErrorsOf([] { OutputDebugStringF("before %ls", L"\x20AC"); }), "");
}

}  // namespace
