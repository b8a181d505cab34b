#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tillvane/text/LStringLists.h>

namespace {

using support::GuardedText;

struct Read {
  std::string item;
  bool is_there;
  unsigned long position;

  bool operator==(const Read&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Read& read) {
    return out << '[' << read.item << "] " << read.is_there << " at " << read.position;
  }
};

Read ReadAt(const char* text, unsigned long position, unsigned long size = 100) {
  GuardedText item(size);
  const bool is_there = GetCSVListItem(text, position, item.Get(), size);
  return {item.Text(), is_there, position};
}

TEST(StringLists, ALineGivesItsItemsInTurn) {
  const char line[] = "  a b , \"x, y\",,z\nnext";
  const Read reads[] = {{"a b", true, 7}, {"x, y", true, 15}, {"", false, 16}, {"z", true, 17}, {"", false, 17}};
  unsigned long position = 0;
  for (const Read& expected : reads) {
    const Read read = ReadAt(line, position);
    EXPECT_EQ(read, expected);
    position = read.position;
  }
  EXPECT_EQ(line[position], '\n');
}

TEST(StringLists, OneItem) {
  struct Case {
    const char* text;
    const char* item;
    unsigned long position;
  };
  const Case cases[] = {
      {"", "", 0},
      {",", "", 1},
      {"a", "a", 1},
      {"a,", "a", 2},
      {"a\rb", "a", 1},
      {"a\nb", "a", 1},
      {"   ", "", 3},
      {"   ,", "", 4},
      {" a ", "a", 3},
      {"a  b", "a  b", 4},
      {"a\t ", "a\t", 3},
      {"\ta", "\ta", 2},
      // Quotes.
      {"\"\"", "", 2},
      {"\"\",b", "", 3},
      {"\"a\"", "a", 3},
      {"\" a \"", " a ", 5},
      {"  \" a \"  ,b", " a ", 10},
      {"\" \"", " ", 3},
      {"\"a,b\",c", "a,b", 6},
      {"\"a\"\"b\"", "ab", 6},
      {"a\"b\"c", "abc", 5},
      {"a \"b\" c", "a b c", 7},
      {"a \"\" ", "a", 5},
      {"a \" \" ", "a  ", 6},
      {"\"\" a", "a", 4},
      {"\"\" \"\" a", "a", 7},
      {"a \" ", "a  ", 4},
      {"\"a", "a", 2},
      {"\"a,b", "a,b", 4},
      {"\"a\nb\"", "a", 2},
      {"\"a\rb\"", "a", 2},
      {"\"", "", 1},
      {"\"a\" x\"y \",b", "a xy ", 10},
      {"\xC3\xA9\xFF \x80 ,", "\xC3\xA9\xFF \x80", 7},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(ReadAt(one.text, 0), (Read{one.item, *one.item != '\0', one.position}));
  }
}

TEST(StringLists, AtTheEndOfALineItStays) {
  for (const char* text : {"", "\n", "\r\n"}) {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(ReadAt(text, 0), (Read{"", false, 0}));
  }
}

TEST(StringLists, WhatDoesNotFitIsReadAndDropped) {
  struct Case {
    const char* text;
    unsigned long size;
    const char* item;
  };
  const Case cases[] = {
      {"abcdef,g", 7, "abcdef"}, {"abcdef,g", 6, "abcde"},  {"abcdef,g", 2, "a"}, {"abcdef,g", 1, ""},
      {"ab  cd", 4, "ab "},      {"ab  cd", 5, "ab  "},     {"ab  ", 4, "ab"},    {"  ab", 2, "a"},
      {"\"ab\"cd", 4, "abc"},    {"\"abcdef\",", 4, "abc"}, {"a \"b\"", 3, "a "}, {"a  \"\" ", 3, "a"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text + std::string(", ") + std::to_string(one.size));
    const Read all = ReadAt(one.text, 0), cut = ReadAt(one.text, 0, one.size);
    EXPECT_EQ(cut, (Read{one.item, *one.item != '\0', all.position}));
  }
}

TEST(StringLists, OfSizeZeroNothingIsWritten) {
  EXPECT_EQ(ReadAt("abc,d", 0, 0), (Read{"", false, 4}));
  unsigned long position = 0;
  EXPECT_FALSE(GetCSVListItem("\"a\" b,c", position, nullptr, 0));
  EXPECT_EQ(position, 6u);
}

TEST(StringLists, ANullTextIsEmpty) { EXPECT_EQ(ReadAt(nullptr, 0), (Read{"", false, 0})); }

TEST(StringLists, AnItemIsTerminatedDirectlyBehindIt) {
  GuardedText item(6);
  unsigned long position = 0;
  EXPECT_TRUE(GetCSVListItem("a", position, item.Get(), 6));
  EXPECT_EQ(item.Bytes().substr(0, 2), std::string("a\0", 2));
}

TEST(StringLists, EveryOtherByteIsPlain) {
  for (int c = 1; c < 256; ++c) {
    if (std::strchr("\n\r,\" ", c) != nullptr) continue;
    const char text[] = {static_cast<char>(c), ',', '\0'};
    EXPECT_EQ(ReadAt(text, 0), (Read{std::string(text, 1), true, 2})) << c;
  }
}

}  // namespace
