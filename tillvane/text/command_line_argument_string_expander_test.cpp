#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/text/LCommandLineArgumentStringExpander.h>

namespace {

using Arguments = std::vector<std::string>;

/// Up to the first one that is empty.
Arguments Split(const char* line) {
  LCommandLineArgumentStringExpander expander(line);
  Arguments arguments;
  while (expander.NextArgument()) arguments.emplace_back(expander.GetArgument());
  EXPECT_STREQ(expander.GetArgument(), "");
  return arguments;
}

TEST(CommandLineArguments, ALineIsSplit) {
  struct Case {
    const char* line;
    Arguments arguments;
  };
  const Case cases[] = {
      {"prog \"a b\"c d\\ e", {"prog", "a b", "c", "d e"}},
      {"", {}},
      {nullptr, {}},
      {"   ", {}},
      {"a", {"a"}},
      {" \t\n\x01\x1F a", {"a"}},
      {"a  b", {"a", "b"}},
      {"a ", {"a"}},
      {"a\tb\nc", {"a\tb\nc"}},
      {"a \tb", {"a", "b"}},
      {"\x7F \x80\xFF", {"\x7F", "\x80\xFF"}},
      // Quotes.
      {"\"a b\"", {"a b"}},
      {"x\"a b\"y", {"xa b", "y"}},
      {"\"a\"\"b\"", {"a", "b"}},
      {"\"a b", {"a b"}},
      {"a\" b", {"a b"}},
      {"\"a\tb\"", {"a\tb"}},
      {"\" \"", {" "}},
      {"\"a\" \"b\"", {"a", "b"}},
      // Backslashes.
      {"a\\ b", {"a b"}},
      {"\\ ", {" "}},
      {"\\ a", {" a"}},
      {"a\\b", {"a\\b"}},
      {"a\\", {"a\\"}},
      {"a\\\\ b", {"a\\ b"}},
      {"a\\\\", {"a\\\\"}},
      {"\\\"a b\"", {"\\a b"}},
      {"\"a\\ b\"", {"a b"}},
      {"\"a\\\"b", {"a\\", "b"}},
      {"a\\\tb", {"a\\\tb"}},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.line != nullptr ? one.line : "null");
    EXPECT_EQ(Split(one.line), one.arguments);
    const unsigned long behind_the_first = one.arguments.empty() ? 0 : one.arguments.size() - 1;
    EXPECT_EQ(LCommandLineArgumentStringExpander("other").GetArgumentCount(one.line), behind_the_first);
  }
}

TEST(CommandLineArguments, AnEmptyOneEndsTheCount) {
  const LCommandLineArgumentStringExpander expander("other");
  EXPECT_EQ(expander.GetArgumentCount("prog \"\" a b"), 0u);
  EXPECT_EQ(expander.GetArgumentCount("prog a \"\" b"), 1u);
  EXPECT_EQ(expander.GetArgumentCount("\"\" a b"), 2u) << "whatever the first one is";
}

TEST(CommandLineArguments, ReadingGoesOnBehindAnEmptyOne) {
  LCommandLineArgumentStringExpander expander("a \"\"b");
  EXPECT_STREQ(expander.GetArgument(), "");
  EXPECT_TRUE(expander.NextArgument());
  EXPECT_FALSE(expander.NextArgument());
  EXPECT_STREQ(expander.GetArgument(), "");
  EXPECT_TRUE(expander.NextArgument());
  EXPECT_STREQ(expander.GetArgument(), "b");
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(expander.NextArgument());
}

TEST(CommandLineArguments, CountingReadsNothing) {
  LCommandLineArgumentStringExpander expander("a b");
  EXPECT_TRUE(expander.NextArgument());
  EXPECT_EQ(expander.GetArgumentCount("x y z"), 2u);
  EXPECT_STREQ(expander.GetArgument(), "a");
  EXPECT_TRUE(expander.NextArgument());
  EXPECT_STREQ(expander.GetArgument(), "b");
}

TEST(CommandLineArguments, LongOnesAndManyPieces) {
  std::string line = "short ", expected;
  for (int i = 0; i < 5000; ++i) {
    line += "ab\\ ";
    expected += "ab ";
  }
  line += std::string(100000, 'x') + " end";
  expected += std::string(100000, 'x');
  EXPECT_EQ(Split(line.c_str()), (Arguments{"short", expected, "end"}));
}

}  // namespace
