#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tillvane/text/LStringFields.h>

namespace {

using support::GuardedText;

struct FieldCase {
  const char *text, *start, *end;
  unsigned long size;
  bool is_found;
  const char* field;
};

constexpr FieldCase kFields[] = {{"a<b>cd</b>e", "<b>", "</b>", 10, true, "cd"},
                                 {"a<b>cd</b>e", "<b>", "</b>", 3, true, "cd"},
                                 {"a<b>cd</b>e", "<b>", "</b>", 2, true, "c"},
                                 {"a<b>cd</b>e", "<b>", "</b>", 1, true, ""},
                                 {"a<b>cd", "<b>", "</b>", 10, true, "cd"},
                                 {"a<b>", "<b>", "</b>", 10, true, ""},
                                 {"a<b></b>", "<b>", "</b>", 10, true, ""},
                                 {"a</b>cd", "<b>", "</b>", 10, false, ""},
                                 {"", "<b>", "</b>", 10, false, ""},
                                 {"</b><b>x</b><b>y</b>", "<b>", "</b>", 10, true, "x"},
                                 {"'x'", "'", "'", 10, true, "x"},
                                 {"aXXb", "X", "X", 10, true, ""},
                                 {"abc", "", "c", 10, true, "ab"},
                                 {"", "", "", 10, true, ""},
                                 {"abc", "a", "", 10, true, ""},
                                 {"abc", "a", nullptr, 10, true, "bc"},
                                 {"abc", nullptr, "c", 10, false, ""},
                                 {nullptr, "a", "c", 10, false, ""},
                                 {nullptr, "", "", 10, false, ""},
                                 {"k=\xC3\xA9;", "k=", ";", 3, true, "\xC3\xA9"}};

TEST(StringFields, AFieldStandsBetweenItsMarkers) {
  for (const FieldCase& one : kFields) {
    SCOPED_TRACE(one.text != nullptr ? one.text : "null");
    GuardedText out(one.size), out_of_template(one.size);
    EXPECT_EQ(LStringFindTextField(one.text, one.start, one.end, out.Get(), one.size), one.is_found);
    EXPECT_EQ(out.Text(), one.field);
    EXPECT_EQ(LStringFindTextFieldTemplate<char>(one.text, one.start, one.end, out_of_template.Get(), one.size),
              one.is_found);
    EXPECT_EQ(out_of_template.Bytes(), out.Bytes());
  }
}

TEST(StringFields, AFieldIsAlwaysTerminated) {
  for (unsigned long size = 1; size <= 6; ++size) {
    GuardedText out(size);
    EXPECT_TRUE(LStringFindTextField("(abcd)", "(", ")", out.Get(), size));
    EXPECT_EQ(out.Bytes().substr(0, std::min(size, 5ul)), std::string("abcd").substr(0, size - 1) + '\0') << size;
  }
}

TEST(StringFields, OfSizeZeroNothingIsWritten) {
  GuardedText none(0);
  EXPECT_TRUE(LStringFindTextField("(a)", "(", ")", none.Get(), 0));
  EXPECT_FALSE(LStringFindTextField("a", "(", ")", none.Get(), 0));
  EXPECT_TRUE(LStringFindTextField("(a)", "(", ")", nullptr, 0));
}

TEST(StringFields, AFieldMayBeCopiedOverItsText) {
  char text[] = "(abcdef)";
  EXPECT_TRUE(LStringFindTextField(text, "(", ")", text, sizeof text));
  EXPECT_STREQ(text, "abcdef");
}

TEST(StringFields, CharactersBeforeAStop) {
  struct Case {
    const char *text, *stops, *stored;
  };
  const Case cases[] = {{"key=value", "=", "key"},
                        {"key=value", "", "key=value"},
                        {"=value", "=", ""},
                        {"", "=", ""},
                        {"a;b=c", "=;", "a"},
                        {"abc", "xyz", "abc"},
                        {nullptr, "=", ""},
                        {"a=b", nullptr, "a=b"},
                        {"a\xE9"
                         "b\xC3",
                         "\xC3",
                         "a\xE9"
                         "b"}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text != nullptr ? one.text : "null");
    GuardedText out(260);
    EXPECT_EQ(LParseGetToCharacters<char>(one.text, one.stops, out.Get()), std::string(one.stored).size());
    EXPECT_EQ(out.Text(), one.stored);
  }
}

TEST(StringFields, AtMost259CharactersAreStoredAndAllAreCounted) {
  for (const std::size_t length : {258u, 259u, 260u, 261u, 1000u}) {
    SCOPED_TRACE(length);
    const std::string text(length, 'x');
    GuardedText out(260);
    EXPECT_EQ(LParseGetToCharacters<char>((text + "=y").c_str(), "=", out.Get()), length);
    EXPECT_EQ(out.Text(), text.substr(0, 259));
  }
}

TEST(StringFields, CharactersMayBeCopiedOverTheirText) {
  char text[260] = "key=value";
  EXPECT_EQ(LParseGetToCharacters<char>(text, "=", text), 3u);
  EXPECT_STREQ(text, "key");
}

}  // namespace
