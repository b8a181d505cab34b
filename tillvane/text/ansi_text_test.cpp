#include <string>

#include <gtest/gtest.h>

#include <tillvane/text/LCharsets.h>

#include <tests/support/guarded_buffer.h>
#include <tests/support/units.h>

namespace {

using support::GuardedBuffer;
using support::Units;

struct Case {
  std::string source;
  unsigned long size;
  std::string text;
};

/// \return the buffer's last byte
char ExpectConverted(const Case& c, void (*convert)(char*, const char*, unsigned long)) {
  GuardedBuffer<char> buffer(c.size);
  convert(buffer.get(), c.source.c_str(), c.size);
  EXPECT_EQ(std::string(buffer.get()), c.text) << c.size << ": " << c.source;
  EXPECT_TRUE(buffer.IsWhole()) << c.size << ": " << c.source;
  return buffer[c.size - 1];
}

TEST(AnsiText, ReadIntoABuffer) {
  const Case cases[] = {
      {"", 1, ""},
      {"ab", 6, "ab"},
      // It and its terminator have to fit as 16-bit units, or there is nothing.
      {"ab", 5, ""},
      {"ab", 4, ""},
      {"a", 4, "a"},
      {"a", 3, ""},
      {"a", 1, ""},
      {"\x80\xE9", 8, "\u20AC\u00E9"},
      // What then does not fit as UTF-8 is cut between characters.
      {"\x80\x80", 6, "\u20AC"},
      {"\x80", 4, "\u20AC"},
      {"\x81\x8D\x8F\x90\x9D", 20, "\u0081\u008D\u008F\u0090\u009D"},
  };
  for (const Case& c : cases) EXPECT_EQ(ExpectConverted(c, LCopyUTF8FromAnsi), '\0') << c.size << ": " << c.text;
}

TEST(AnsiText, WrittenIntoABuffer) {
  const Case cases[] = {
      {"", 1, ""},
      {"a\u00E9\u00FF", 10, "a\xE9\xFF"},
      // Bytes of the source count.
      {"a\u00E9\u00FF", 6, "a\xE9\xFF"},
      {"a\u00E9\u00FF", 5, "a\xE9"},
      {"a\u00E9\u00FF", 1, ""},
      // Nothing when there is one character too many.
      {"a\u20AC", 10, ""},
      {"a\u0100", 10, ""},
      {"\U0001F600", 10, ""},
      // But what the bound cuts off is not looked at, nor what follows an error.
      {"a\u20AC", 4, "a"},
      {"a\x80\u20AC", 10, "a"},
      {"a\u0080\u009F", 10, "a\x80\x9F"},
  };
  for (const Case& c : cases) ExpectConverted(c, LCopyAnsiFromUTF8);
}

TEST(AnsiText, SizeZeroWritesNothing) {
  char none = 'x';
  LCopyUTF8FromAnsi(&none, "a", 0);
  LCopyAnsiFromUTF8(&none, "a", 0);
  EXPECT_EQ(none, 'x');
}

TEST(AnsiText, TheEuroSignIsReadAndNotWritten) {
  char utf8[10], ansi[10] = "before";
  LCopyUTF8FromAnsi(utf8, "\x80", sizeof utf8);
  EXPECT_STREQ(utf8, "\u20AC");
  LCopyAnsiFromUTF8(ansi, utf8, sizeof ansi);
  EXPECT_STREQ(ansi, "");
}

TEST(AnsiText, GrowableTexts) {
  LStringLong ansi;
  Units units;
  // There are no buffers.
  EXPECT_EQ(LCopyUnicodeFromAnsi(units, ansi), 0u);
  EXPECT_EQ(LCopyAnsiFromUnicode(ansi, Units()), 0u);
  EXPECT_EQ(units.capacity(), 1u);
  EXPECT_EQ(ansi.capacity(), 1u);

  ansi = "a\x80\xE9";
  EXPECT_EQ(LCopyUnicodeFromAnsi(units, ansi), 3u);
  EXPECT_EQ(support::AsText(units.c_str()), u"a\u20AC\u00E9");
  EXPECT_EQ(units.capacity(), 4u);
  EXPECT_EQ(LCopyAnsiFromUnicode(ansi, units), 0u);
  EXPECT_STREQ(ansi.c_str(), "");
  EXPECT_EQ(ansi.size(), 0u);

  support::Fill(units, u"z\u00E9\u00FF");
  EXPECT_EQ(LCopyAnsiFromUnicode(ansi, units), 3u);
  EXPECT_STREQ(ansi.c_str(), "z\xE9\xFF");
  EXPECT_EQ(ansi.size(), 3u);
}

TEST(AnsiText, LongTextsComeBack) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += static_cast<char>(0xA0 + i % 96);
  LStringLong source;
  source = text.c_str();
  Units units;
  LStringLong back;
  EXPECT_EQ(LCopyUnicodeFromAnsi(units, source), 5000u);
  EXPECT_EQ(LCopyAnsiFromUnicode(back, units), 5000u);
  EXPECT_EQ(text, back.c_str());
  std::string utf8(10002, 'x'), ansi(10002, 'x');
  LCopyUTF8FromAnsi(utf8.data(), text.c_str(), utf8.size());
  LCopyAnsiFromUTF8(ansi.data(), utf8.c_str(), ansi.size());
  EXPECT_EQ(text, ansi.c_str());
}

TEST(AnsiText, ALengthOfTheSourceDoesNotCount) {
  LStringLong source;
  LCopyToISO88591(source, "a\u00E9");
  ASSERT_EQ(source.size(), 0u);
  LStringLongTemplate<unsigned short> units;
  EXPECT_EQ(LCopyUnicodeFromAnsi(units, source), 2u);
  units.SetLength(0);
  units.data()[0] = 'b';
  EXPECT_EQ(LCopyAnsiFromUnicode(source, units), 2u);
  EXPECT_STREQ(source.c_str(), "b\xE9");
  units.SetLength(2);
  units.data()[1] = 0;
  EXPECT_EQ(LCopyAnsiFromUnicode(source, units), 1u);
  EXPECT_STREQ(source.c_str(), "b");
}

}  // namespace
