#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/text/LCharsets.h>
#include <tillvane/text/LStringUtilities.h>

#include <tests/support/guarded_buffer.h>
#include <tests/support/units.h>

namespace {

using support::AsText;
using support::AsUnits;
using support::Fill;
using support::GuardedBuffer;
using support::Units;

TEST(UnicodeText, AnAbsentTextIsAnEmptyCString) {
  LStringLong text;
  const LUTF8StringLongRef none(text);
  EXPECT_STREQ(none, "");
  text = "ab";
  EXPECT_EQ(static_cast<const char*>(LUTF8StringLongRef(text)), text.c_str());
  EXPECT_EQ(lstrlen(szEmptyStringUTF16), 0u);
  static_assert(sizeof(LUTF8StringLongRef) == sizeof(const char*));
}

TEST(UnicodeText, UnitsAreWidened) {
  const struct {
    unsigned long size;
    std::wstring text;
  } cases[] = {{1, L""}, {2, L"a"}, {3, {L'a', 0xD83D}}, {4, {L'a', 0xD83D, 0xDE00}}, {9, {L'a', 0xD83D, 0xDE00}}};
  for (const auto& c : cases) {
    GuardedBuffer<wchar_t> buffer(c.size);
    LCopyUTF32FromUnicode(buffer.get(), AsUnits(u"a\U0001F600"), c.size);
    EXPECT_EQ(std::wstring(buffer.get()), c.text) << c.size;
    EXPECT_TRUE(buffer.IsUntouchedFrom(c.text.size() + 1)) << c.size;
  }
  wchar_t none = L'x';
  LCopyUTF32FromUnicode(&none, AsUnits(u"a"), 0);
  EXPECT_EQ(none, L'x');
}

TEST(UnicodeText, CodePointsAreCutTo16Bits) {
  const wchar_t source[] = {L'a', 0x1F600, 0x20000, static_cast<wchar_t>(-1), L'b', 0};
  const struct {
    unsigned long size;
    std::vector<unsigned short> units;
  } cases[] = {
      {1, {0}}, {2, {'a', 0}}, {3, {'a', 0xF600, 0}}, {9, {'a', 0xF600, 0, 0xFFFF, 'b', 0}}, {4, {'a', 0xF600, 0, 0}},
  };
  for (const auto& c : cases) {
    GuardedBuffer<unsigned short> buffer(c.size);
    LCopyUnicodeFromUTF32(buffer.get(), source, c.size);
    EXPECT_EQ(std::vector<unsigned short>(buffer.get(), buffer.get() + c.units.size()), c.units) << c.size;
    EXPECT_TRUE(buffer.IsUntouchedFrom(c.units.size())) << c.size;
  }
  unsigned short none = 'x';
  LCopyUnicodeFromUTF32(&none, source, 0);
  EXPECT_EQ(none, 'x');
}

TEST(UnicodeText, UnitsToUtf8) {
  const struct {
    std::u16string source;
    unsigned long size;
    std::string text;
  } cases[] = {
      {u"", 1, ""},
      {u"a\u00E9\u20AC", 10, "a\u00E9\u20AC"},
      {u"a\u00E9\u20AC", 7, "a\u00E9\u20AC"},
      // Whole characters only.
      {u"a\u00E9\u20AC", 6, "a\u00E9"},
      {u"a\u00E9\u20AC", 3, "a"},
      {u"a\u00E9\u20AC", 1, ""},
      // A surrogate is a unit like others.
      {u"\U0001F600", 10, "\xED\xA0\xBD\xED\xB8\x80"},
  };
  for (const auto& c : cases) {
    GuardedBuffer<char> buffer(c.size);
    LCopyUTF8FromUnicode(buffer.get(), AsUnits(c.source.c_str()), c.size);
    EXPECT_EQ(std::string(buffer.get()), c.text) << c.size;
    EXPECT_EQ(buffer[c.size - 1], '\0') << c.size << ": " << c.text;
    EXPECT_TRUE(buffer.IsWhole()) << c.size << ": " << c.text;
  }
  char none = 'x';
  LCopyUTF8FromUnicode(&none, AsUnits(u"a"), 0);
  EXPECT_EQ(none, 'x');
}

TEST(UnicodeText, Utf8ToUnits) {
  const struct {
    std::string source;
    unsigned long size;
    std::vector<unsigned short> units;
  } cases[] = {
      {"", 1, {0}},
      {"a\u00E9\u20AC", 10, {'a', 0xE9, 0x20AC, 0}},
      // Bytes of the source count.
      {"a\u00E9\u20AC", 7, {'a', 0xE9, 0x20AC, 0}},
      {"a\u00E9\u20AC", 6, {'a', 0xE9, 0}},
      {"a\u00E9\u20AC", 1, {0}},
      {"a\x80x", 10, {'a', 0}},
      // No surrogates: the low bits alone, and they may be 0.
      {"\U0001F600\U00010000b", 20, {0xF600, 0, 'b', 0}},
  };
  for (const auto& c : cases) {
    GuardedBuffer<unsigned short> buffer(c.size);
    LCopyUnicodeFromUTF8(buffer.get(), c.source.c_str(), c.size);
    EXPECT_EQ(std::vector<unsigned short>(buffer.get(), buffer.get() + c.units.size()), c.units)
        << c.size << ": " << c.source;
    EXPECT_TRUE(buffer.IsUntouchedFrom(c.units.size())) << c.size << ": " << c.source;
  }
  unsigned short none = 'x';
  LCopyUnicodeFromUTF8(&none, "a", 0);
  EXPECT_EQ(none, 'x');
}

TEST(UnicodeText, WithoutASizeThereIsRoomFor260) {
  GuardedBuffer<char> bytes(260);
  LCopyUTF8FromUnicode(bytes.get(), AsUnits(u"a\u00E9"));
  EXPECT_STREQ(bytes.get(), "a\u00E9");
  EXPECT_EQ(bytes[259], '\0');
  for (const std::size_t count : {258u, 259u, 260u, 300u}) {
    const std::size_t most = std::min<std::size_t>(count, 259);
    LCopyUTF8FromUnicode(bytes.get(), AsUnits(std::u16string(count, u'b').c_str()));
    EXPECT_EQ(std::string(bytes.get()), std::string(most, 'b')) << count;
    EXPECT_TRUE(bytes.IsWhole()) << count;

    GuardedBuffer<unsigned short> units(260);
    LCopyUnicodeFromUTF8(units.get(), std::string(count, 'b').c_str());
    EXPECT_EQ(AsText(units.get()), std::u16string(most, u'b')) << count;
    EXPECT_TRUE(units.IsUntouchedFrom(most + 1)) << count;
  }
  // 87 characters of three bytes are 261.
  std::u16string euros(87, u'\u20AC');
  LCopyUTF8FromUnicode(bytes.get(), AsUnits(euros.c_str()));
  EXPECT_EQ(std::string(bytes.get()).size(), 258u);
  EXPECT_TRUE(bytes.IsWhole());
}

TEST(UnicodeText, AGrowableTargetTakesAllUnits) {
  const std::u16string sources[] = {u"", u"abc", u"a\u00E9\u20AC", std::u16string(1000, u'\u20AC')};
  for (const std::u16string& text : sources) {
    Units source;
    if (!text.empty()) Fill(source, text);
    LStringLong target;
    target = "before";
    const unsigned long length = LCopyUTF8FromUnicode(target, source);
    std::u16string back;
    Units units;
    EXPECT_EQ(LCopyUnicodeFromUTF8(units, target), text.size());
    EXPECT_EQ(AsText(units.c_str()), text);
    EXPECT_EQ(units.size(), text.size());
    EXPECT_EQ(length, std::string(target.c_str()).size());
    EXPECT_EQ(target.size(), length);
  }
}

TEST(UnicodeText, AGrowableTargetGrowsToWhatItNeeds) {
  Units ascii;
  Fill(ascii, u"abcdefghij");
  LStringLong target;
  EXPECT_EQ(LCopyUTF8FromUnicode(target, ascii), 10u);
  EXPECT_EQ(target.capacity(), 11u);
  LStringLong bytes;
  bytes = "a\u00E9\u20AC";
  Units units;
  EXPECT_EQ(LCopyUnicodeFromUTF8(units, bytes), 3u);
  EXPECT_EQ(units.capacity(), 7u);
}

TEST(UnicodeText, AGrowableTargetEndsWhereTheSourceIsWrong) {
  LStringLong source;
  source = "ab\x80yz";
  Units target;
  EXPECT_EQ(LCopyUnicodeFromUTF8(target, source), 2u);
  EXPECT_EQ(AsText(target.c_str()), u"ab");
  source = "a\U00010000b";
  EXPECT_EQ(LCopyUnicodeFromUTF8(target, source), 1u);
  EXPECT_EQ(target.size(), 1u);
}

TEST(UnicodeText, AStaleLengthOfTheSourceDoesNotCount) {
  LStringLong source;
  LCopyFromUnicode(source, AsUnits(u"a\u20AC"));
  Units target;
  EXPECT_EQ(LCopyUnicodeFromUTF8(target, source), 2u);
  LStringLong back;
  target.SetLength(0);
  target.data()[0] = 'a';
  EXPECT_EQ(LCopyUTF8FromUnicode(back, target), 4u);
  EXPECT_STREQ(back.c_str(), "a\u20AC");
}

TEST(UnicodeText, ALengthBeyondATerminatorInsideDoesNotCount) {
  LStringLong source;
  source = "abcd";
  source.data()[2] = '\0';
  Units target;
  EXPECT_EQ(LCopyUnicodeFromUTF8(target, source), 2u);
  LCopyUnicodeFromUTF8(target, (source = "abcd"));
  target.data()[1] = 0;
  EXPECT_EQ(LCopyUTF8FromUnicode(source, target), 1u);
  EXPECT_STREQ(source.c_str(), "a");
}

TEST(UnicodeText, ACopiedTextHasNoLength) {
  LStringLong target;
  LCopyFromUnicode(target, AsUnits(u""));
  EXPECT_EQ(target.capacity(), 1u);
  EXPECT_STREQ(target.c_str(), "");
  target = "before";
  LCopyFromUnicode(target, AsUnits(u"a\u00E9\u20AC\U0001F600"));
  EXPECT_STREQ(target.c_str(), "a\u00E9\u20AC\xED\xA0\xBD\xED\xB8\x80");
  EXPECT_EQ(target.size(), 0u);
  EXPECT_EQ(target.capacity(), 31u);
  LCopyFromUnicode(target, AsUnits(u"z"));
  EXPECT_STREQ(target.c_str(), "z");
  EXPECT_EQ(target.capacity(), 31u);
  EXPECT_EQ(target.c_str()[6], '\0');
}

TEST(UnicodeText, BigEndian) {
  const struct {
    std::u16string source;
    unsigned long count;
    bool terminate;
    std::string bytes;
    unsigned long answer;
  } cases[] = {
      {u"AB", 4, false, {"\0A\0B\0 \0 ", 8}, 4},
      {u"AB", 4, true, {"\0A\0B\0\0", 6}, 2},
      {u"AB", 2, true, {"\0A\0B\0\0", 6}, 2},
      {u"ABC", 2, true, {"\0A\0B\0\0", 6}, 2},
      {u"ABC", 2, false, {"\0A\0B", 4}, 2},
      {u"\u20AC", 1, false, "\x20\xAC", 1},
      {u"A", 0, true, {"\0\0", 2}, 0},
      {u"A", 0, false, "", 0},
      {u"", 1, false, {"\0 ", 2}, 1},
  };
  for (const auto& c : cases) {
    GuardedBuffer<unsigned short> buffer(c.bytes.size() / 2);
    EXPECT_EQ(LCopyToBigEndianUnicode(buffer.get(), AsUnits(c.source.c_str()), c.count, c.terminate), c.answer);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(buffer.get()), c.bytes.size()), c.bytes);
    EXPECT_TRUE(buffer.IsWhole()) << c.bytes;
  }
}

}  // namespace
