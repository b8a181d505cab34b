#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tillvane/text/LStringLabels.h>

namespace {

using support::GuardedText;

struct Case {
  const char *label, *result;
};

constexpr Case kAmpersands[] = {{"Save &As && Exit", "Save As & Exit"},
                                {"", ""},
                                {"plain", "plain"},
                                {"&", ""},
                                {"&&", "&"},
                                {"&&&", "&"},
                                {"&&&&", "&&"},
                                {"&&&x", "&x"},
                                {"x&", "x"},
                                {"&x", "x"},
                                {"& &", " "},
                                {"&\t&", "\t"},
                                {"\xC3\xA9&\xC3\xA9", "\xC3\xA9\xC3\xA9"}};

constexpr Case kGroups[] = {{"File(&F)...", "File..."},
                            {"", ""},
                            {"plain", "plain"},
                            {"(&)", ""},
                            {"(&F)(&G)x", "x"},
                            {"a(&F", "a"},
                            {"a(&", "a"},
                            {"a(", "a("},
                            {"(F&)", "(F&)"},
                            {"( &F)", "( &F)"},
                            {"((&F))", "()"},
                            {"(&(&F)x)", "x)"},
                            {"&F", "&F"},
                            {"a)b", "a)b"},
                            {"\xE3\x83\x95(&\xFF)\x80", "\xE3\x83\x95\x80"}};

/// Into another buffer of exactly the label's size, and in place.
void Check(void (*strip)(char*, const char*), const char* label, const std::string& result) {
  SCOPED_TRACE(label);
  GuardedText other(std::string(label).size() + 1);
  strip(other.Get(), label);
  EXPECT_EQ(other.Text(), result);
  GuardedText same(std::string(label).size() + 1);
  std::string(label).copy(same.Get(), std::string::npos);
  same.Get()[std::string(label).size()] = '\0';
  strip(same.Get(), same.Get());
  EXPECT_EQ(same.Text(), result);
}

TEST(StringLabels, SingleAmpersandsGo) {
  for (const Case& one : kAmpersands) {
    Check(LStripAmpersand, one.label, one.result);
    Check(LPrepareForDisplay, one.label, one.result);
  }
}

TEST(StringLabels, GroupsOfAMnemonicGo) {
  for (const Case& one : kGroups) Check(LStripJPStyleAmpersand, one.label, one.result);
}

TEST(StringLabels, AMenuShowsWhatIsBeforeTheTab) {
  const Case cases[] = {{"&Open...\tCtrl+O", "Open..."},
                        {"&Cut", "Cut"},
                        {"\t", ""},
                        {"", ""},
                        {"a&\tb", "a"},
                        {"a\t&b\tc", "a"},
                        {"a&&\tb", "a&"}};
  for (const Case& one : cases) Check(LPrepareForMenuItem, one.label, one.result);
}

TEST(StringLabels, ANullLabelIsEmpty) {
  for (const auto& strip : {LStripAmpersand, LStripJPStyleAmpersand, LPrepareForDisplay, LPrepareForMenuItem}) {
    GuardedText out(1);
    strip(out.Get(), nullptr);
    EXPECT_EQ(out.Bytes(), std::string(1, '\0'));
  }
}

TEST(StringLabels, TheFirstTabEndsAText) {
  const Case cases[] = {{"a\tb\tc", "a"}, {"\ta", ""}, {"ab", "ab"}, {"", ""}};
  for (const Case& one : cases) {
    std::string text = one.label;
    LStripFromFirstTabToEnd(text.data());
    EXPECT_STREQ(text.c_str(), one.result) << one.label;
  }
  LStripFromFirstTabToEnd(nullptr);
}

}  // namespace
