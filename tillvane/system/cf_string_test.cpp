#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_buffer.h>
#include <tests/support/guarded_text.h>
#include <tests/support/units.h>
#include <tillvane/platform/native_string.h>
#include <tillvane/system/LCFString.h>
#include <tillvane/system/LUnicodeString.h>

namespace {

using support::AsUnits;
using support::GuardedBuffer;
using support::GuardedText;
using WideText = LStringLongTemplate<wchar_t>;

std::u16string UnitsOf(const LCFString& string) {
  if (string.Get() == nullptr) return u"none";
  std::u16string units(platform::StringLength(string.Get()), u'\0');
  platform::CopyStringUnits(string.Get(), reinterpret_cast<unsigned short*>(units.data()));
  return units;
}

std::string UTF8Of(const LCFString& string) {
  LStringLong text;
  string.GetString(text);
  EXPECT_EQ(text.size(), std::string(text.c_str()).size()) << "the length is that of the text";
  return text.c_str();
}

std::wstring WideOf(const LCFString& string) {
  WideText text;
  string.GetString(text);
  EXPECT_EQ(text.size(), std::wstring(text.c_str()).size()) << "the length is that of the text";
  return text.c_str();
}

TEST(CFString, IsMadeOfUTF8) {
  const struct {
    const char* text;
    std::u16string units;
    std::wstring wide;
  } cases[] = {
      {"", u"", L""},
      {"a", u"a", L"a"},
      {"Grüße", u"Grüße", L"Grüße"},
      {"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF", u"\u007F\u0080\u07FF\u0800\uFFFF",
       L"\u007F\u0080\u07FF\u0800\uFFFF"},
      // A pair in 16-bit units, and two of them, as they are, in wide text.
      {"\xF0\x90\x80\x80", u"\U00010000", L"\xD800\xDC00"},
      {"a\xF4\x8F\xBF\xBFz", u"a\U0010FFFFz", L"a\xDBFF\xDFFFz"},
      // A mark at the beginning is a character as any other.
      {"\xEF\xBB\xBFx", u"\uFEFFx", L"\uFEFFx"},
  };
  LCFString string;
  for (const auto& c : cases) {
    string.SetString(c.text);
    EXPECT_EQ(UnitsOf(string), c.units) << c.text;
    EXPECT_EQ(UTF8Of(string), c.text);
    EXPECT_EQ(WideOf(string), c.wide) << c.text;
  }
}

// What is not UTF-8 as a whole is read by the toolkit's own decoder.
TEST(CFString, IsMadeOfMalformedTextToo) {
  const struct {
    const char* text;
    std::u16string units;
  } cases[] = {
      {"abc\xFFxyz", u"abc"},
      {"\xFF", u""},
      {"\x80", u""},
      {"Gr\xFC\xDF"
       "e",
       u"Gr"},
      {"a\xC3", u"a"},
      {"a\xC0\x80z", u"a"},
      {"a\xED\xA0\x80z", u"a"},
      {"a\xF4\x90\x80\x80", u"a"},
      // Then characters are cut to their low 16 bits.
      {"\xF0\x9F\x98\x80\xFF", u"\uF600"},
      // Of which a 0 is the end.
      {"a\xF0\x90\x80\x80z\xFF", u"a"},
  };
  LCFString string;
  for (const auto& c : cases) {
    string.SetString(c.text);
    ASSERT_NE(string.Get(), nullptr) << c.text;
    EXPECT_EQ(UnitsOf(string), c.units) << c.text;
  }
}

TEST(CFString, WithHalfAPairHasNoUTF8) {
  for (const std::u16string& units :
       {std::u16string(u"a\xD800"), std::u16string(u"\xDC00z"), std::u16string(u"\xDC00\xD800"),
        std::u16string(u"\xD83D\xD83D\xDE00"), std::u16string(u"ab\xDBFFzz")}) {
    const LCFString string(platform::StringFromUnits(AsUnits(units.c_str()), units.size()));
    EXPECT_EQ(UTF8Of(string), "");
    GuardedText buffer(8);
    string.GetString(buffer.Get(), 8);
    EXPECT_EQ(buffer.Text(), "");
    EXPECT_EQ(WideOf(string), std::wstring(units.begin(), units.end()));
  }
  // U+1D800, cut to 16 bits for the sake of what follows.
  LCFString cut;
  cut.SetString("a\xF0\x9D\xA0\x80\xFF");
  EXPECT_EQ(UnitsOf(cut), u"a\xD800");
  EXPECT_EQ(UTF8Of(cut), "");
}

TEST(CFString, OfNothingIsEmpty) {
  const LCFString none;
  LStringLong text;
  none.GetString(text);
  EXPECT_STREQ(text.c_str(), "");
  EXPECT_EQ(text.capacity(), 0u) << "nothing is allocated for it";
  text.Append("left");
  none.GetString(text);
  EXPECT_STREQ(text.c_str(), "");
  EXPECT_EQ(text.size(), 0u);
  WideText wide;
  none.GetString(wide);
  EXPECT_STREQ(wide.c_str(), L"");
  GuardedText buffer(4);
  none.GetString(buffer.Get(), 4);
  EXPECT_EQ(buffer.Text(), "");
  GuardedBuffer<wchar_t> units(4);
  none.GetString(units.get(), 4);
  EXPECT_EQ(units[0], 0);
  EXPECT_TRUE(units.IsUntouchedFrom(1));
}

TEST(CFString, IsReplaced) {
  LCFString string;
  string.SetString("first");
  string.SetString("second");
  EXPECT_EQ(UTF8Of(string), "second");
  string.SetString(nullptr);
  EXPECT_EQ(string.Get(), nullptr);
  EXPECT_EQ(UTF8Of(string), "");
}

TEST(CFString, GrowsTheTextToSixBytesAUnit) {
  LCFString string;
  string.SetString("a\xF0\x90\x80\x80");
  LStringLong text;
  string.GetString(text);
  EXPECT_EQ(text.capacity(), 3 * 6 + 1u);
  WideText wide;
  string.GetString(wide);
  EXPECT_EQ(wide.capacity(), 3 + 1u);
  text.GrowToSize(100);
  string.GetString(text);
  EXPECT_EQ(text.capacity(), 100u);
}

TEST(CFString, UnitsAfterAZeroAreNotInATerminatedText) {
  const LCFString string(platform::StringFromUnits(AsUnits(u"ab\0cd"), 5));
  EXPECT_EQ(UTF8Of(string), "ab");
  EXPECT_EQ(WideOf(string), L"ab");
}

TEST(CFString, WritesWholeCharactersThatFit) {
  const struct {
    unsigned long capacity;
    const char* text;
  } cases[] = {{1, ""},
               {2, "a"},
               {3, "a"},
               {4, "aß"},
               {5, "aß"},
               {6, "aß"},
               {7, "aß€"},
               {10, "aß€"},
               {11, "aß€\U0001F600"},
               {40, "aß€\U0001F600"}};
  LCFString string;
  string.SetString("aß€\U0001F600");
  for (const auto& c : cases) {
    GuardedText buffer(c.capacity);
    string.GetString(buffer.Get(), c.capacity);
    EXPECT_EQ(buffer.Text(), c.text) << c.capacity;
  }
}

TEST(CFString, WritesUnitsThatFit) {
  LCFString string;
  string.SetString("aß\U0001F600");
  const std::wstring all = L"aß\xD83D\xDE00";
  for (unsigned long capacity = 1; capacity < 8; ++capacity) {
    GuardedBuffer<wchar_t> buffer(capacity);
    string.GetString(buffer.get(), capacity);
    EXPECT_TRUE(buffer.IsWhole()) << capacity;
    EXPECT_EQ(std::wstring(buffer.get()), all.substr(0, capacity - 1)) << capacity;
  }
}

TEST(CFString, ACapacityOfNothingWritesNothing) {
  LCFString string;
  string.SetString("text");
  GuardedBuffer<char> text(0);
  string.GetString(text.get(), 0);
  EXPECT_TRUE(text.IsWhole());
  GuardedBuffer<wchar_t> wide(0);
  string.GetString(wide.get(), 0);
  EXPECT_TRUE(wide.IsWhole());
}

// --- LUnicodeString ---

TEST(UnicodeString, IsHadInOtherForms) {
  const struct {
    const char16_t* units;
    const char* text;
    std::wstring wide;
  } cases[] = {
      {u"", "", L""},
      {u"Grüße", "Grüße", L"Grüße"},
      {u"a\U0001F600", "a\U0001F600", L"a\xD83D\xDE00"},
      // No mark says in which order the bytes stand.
      {u"\uFEFFx", "\uFEFFx", L"\uFEFFx"},
      {u"\uFFFEx", "\uFFFEx", L"\uFFFEx"},
      // Half a pair.
      {u"a\xD83D", "", L"a\xD83D"},
  };
  for (const auto& c : cases) {
    const LUnicodeString string(AsUnits(c.units));
    LStringLong text;
    text.Append("left");
    string.GetString(text);
    EXPECT_STREQ(text.c_str(), c.text);
    WideText wide;
    string.GetString(wide);
    EXPECT_EQ(wide.c_str(), c.wide) << c.text;
  }
}

TEST(UnicodeString, OfNothingIsEmpty) {
  const LUnicodeString none(nullptr);
  LStringLong text;
  text.Append("left");
  none.GetString(text);
  EXPECT_STREQ(text.c_str(), "");
  WideText wide;
  wide.GrowToSize(2);
  none.GetString(wide);
  EXPECT_STREQ(wide.c_str(), L"");
}

}  // namespace
