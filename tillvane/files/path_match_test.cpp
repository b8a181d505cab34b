#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/path_calls.h>
#include <tests/support/path_difference.h>

namespace {

using support::calls::IsMatch;

std::string Repeat(const std::string& text, std::size_t count) {
  std::string all;
  for (; count > 0; --count) all += text;
  return all;
}

struct Case {
  std::string pattern, name;
  bool is_match;
};

TEST(PathMatch, Patterns) {
  const Case cases[] = {
      {"*.txt", "a.txt", true},
      {"*.txt", ".txt", true},
      {"*.txt", "a.txt.txt", true},
      {"*.txt", "a.txtx", false},
      {"*.txt", "txt", false},
      {"*.txt", "", false},
      {"", "", true},
      {"", "a", false},
      {"a", "", false},
      {"*", "", true},
      {"*", "anything / at all", true},
      {"***", "", true},
      {"***", "a", true},
      {"a**b", "ab", true},
      {"a**b", "axyb", true},
      {"?", "", false},
      {"?", "a", true},
      {"?", "ab", false},
      {"a?c", "abc", true},
      {"a?c", "ac", false},
      {"a?", "a", false},
      {"*?", "", false},
      {"*?", "a", true},
      {"?*", "a", true},
      {"?*?", "a", false},
      {"?*?", "ab", true},
      {"*?*", "", false},
      {"*?*", "a", true},
      {"*a?*", "ba", false},
      {"*a?*", "bab", true},
      {"a*", "a", true},
      {"a*", "abc", true},
      {"a*", "ba", false},
      {"*a", "ba", true},
      {"*a", "ab", false},
      // The head and the last piece do not overlap, nor do the pieces between them.
      {"aba*aba", "aba", false},
      {"aba*aba", "ababa", false},
      {"aba*aba", "abaaba", true},
      {"*ab*ab*", "ab", false},
      {"*ab*ab*", "abab", true},
      {"*aba*aba*", "ababa", false},
      {"a*b*c", "abc", true},
      {"a*b*c", "acbc", true},
      {"a*b*c", "acb", false},
      {"*b*b*b*", "bb", false},
      {"*b?d*", "abcbbd", true},
      {"*??d*", "xd", false},
      {"*??d*", "xyd", true},
      {"*?b*", "bb", true},
      {"*?b*", "b", false},
      // A place that fits half is passed.
      {"*aab*", "aaab", true},
      {"*a?b*", "aaab", true},
      {"*aab*c", "aaaabxc", true},
      // Nothing else means anything.
      {"A", "a", false},
      {"[a]", "a", false},
      {"[a]", "[a]", true},
      {"\\*", "*", false},
      {"\\*", "\\x", true},
      {"a.b", "axb", false},
      {"*.*", "README", false},
      {"*", ".hidden", true},
      {"\xC3?", "\xC3\xA9", true},
      {"?", "\xC3\xA9", false},
      {"\xFF*\x80", "\xFF\x80", true},
      // As long as you like.
      {"*" + Repeat("a", 1000), Repeat("a", 2000), true},
      {"*" + Repeat("a", 1000) + "*", Repeat("a", 999), false},
      {Repeat("?", 300), Repeat("x", 300), true},
      {Repeat("?", 300), Repeat("x", 301), false},
      {Repeat("*", 300) + "x", Repeat("y", 299) + "x", true},
  };
  for (const Case& one : cases)
    EXPECT_EQ(IsMatch(one.pattern, one.name), one.is_match) << one.pattern << ", " << one.name;
}

TEST(PathMatch, EveryShortPatternAndName) {
  std::vector<std::string> patterns{""}, names{""};
  const auto extend = [](std::vector<std::string>& texts, std::size_t length, const std::string& alphabet) {
    for (std::size_t i = 0; i < texts.size() && texts[i].size() < length; ++i) {
      for (const char c : alphabet) texts.push_back(texts[i] + c);
    }
  };
  extend(patterns, 5, "ab*?");
  extend(names, 5, "ab");
  ASSERT_EQ(patterns.size() * names.size(), 1365U * 63U);
  for (const std::string& pattern : patterns) {
    support::PathDifference difference;
    for (const std::string& name : names) difference.CompareMatching(pattern, name);
    ASSERT_EQ(difference.Text(), "");
  }
}

/// One that tried each place for each star would not come to an end.
TEST(PathMatch, HostilePatternsTakeNoLongerThanOthers) {
  const Case cases[] = {{Repeat("a*", 130) + "b", Repeat("a", 259), false},
                        {Repeat("a*", 129) + "b*", Repeat("a", 259), false},
                        {Repeat("*a", 129) + "b*", Repeat("a", 259), false},
                        {Repeat("*a?", 80) + "b*", Repeat("a", 259), false},
                        {Repeat("*?", 130), Repeat("a", 259), true},
                        {Repeat("*a", 259) + "*", Repeat("a", 259), true},
                        {Repeat("*a", 260) + "*", Repeat("a", 259), false},
                        {"*" + Repeat("ab*", 20) + Repeat("a", 30) + "c*", Repeat("ab", 130), false}};
  const auto begin = std::chrono::steady_clock::now();
  for (int round = 0; round < 100; ++round) {
    for (const Case& one : cases) ASSERT_EQ(IsMatch(one.pattern, one.name), one.is_match) << one.pattern;
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

}  // namespace
