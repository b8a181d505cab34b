#include <sys/time.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tillvane/text/LStringUtilities.h>

namespace {

using support::GuardedText;

int SignOf(int value) { return (value > 0) - (value < 0); }

TEST(StringUtilities, Lstrlen) {
  const unsigned short empty[] = {0}, text[] = {'a', 0xFFFF, 0x100, 0, 'b'};
  EXPECT_EQ(lstrlen(empty), 0u);
  EXPECT_EQ(lstrlen(text), 3u);
}

TEST(StringUtilities, WstrcmpSaysWhetherTextsAgreeAsFarAsBothGo) {
  struct Case {
    const wchar_t *a, *b;
    int result;
  };
  const Case cases[] = {{L"", L"", 0},      {L"a", L"a", 0},    {L"", L"a", 0},   {L"a", L"", 0},
                        {L"ab", L"abc", 0}, {L"b", L"a", -1},   {L"a", L"b", -1}, {L"abx", L"aby", -1},
                        {L"xb", L"yb", -1}, {L"abd", L"ac", -1}};
  for (const Case& one : cases) EXPECT_EQ(wstrcmp(one.a, one.b), one.result) << one.a << ' ' << one.b;
}

TEST(StringUtilities, TstrcmpendComparesTheEnd) {
  struct Case {
    const char *text, *suffix;
    int sign;
  };
  const Case cases[] = {{"file.txt", ".txt", 0}, {"a", "abc", -1},  {"", "", 0},      {"abc", "", 0},
                        {"", "a", -1},           {"abc", "abc", 0}, {"xb", "a", 1},   {"xa", "b", -1},
                        {"file.txt", ".TXT", 1}, {"a\xFF", "a", 1}, {"ab", "ab ", -1}};
  for (const Case& one : cases) {
    EXPECT_EQ(SignOf(tstrcmpend(one.text, one.suffix)), one.sign) << one.text << ' ' << one.suffix;
  }
  EXPECT_EQ(tstrcmpend("a", "abc"), -1);
}

TEST(StringUtilities, CaseIsChangedInPlace) {
  char text[] = "aZ9_\xC3\xA9\xE9\x80.z";
  EXPECT_EQ(strupr(text), text);
  EXPECT_STREQ(text, "AZ9_\xC3\xA9\xE9\x80.Z");
  EXPECT_EQ(strlwr(text), text);
  EXPECT_STREQ(text, "az9_\xC3\xA9\xE9\x80.z");
  char empty[] = "";
  EXPECT_STREQ(strupr(empty), "");
}

TEST(StringUtilities, CaseOfEveryByteIsTheCLibrarys) {
  for (int c = 1; c < 256; ++c) {
    SCOPED_TRACE(c);
    char upper[] = {static_cast<char>(c), '\0'}, lower[] = {static_cast<char>(c), '\0'};
    strupr(upper);
    strlwr(lower);
    EXPECT_EQ(upper[0], static_cast<char>(std::toupper(c)));
    EXPECT_EQ(lower[0], static_cast<char>(std::tolower(c)));
  }
}

TEST(StringUtilities, ReplacesACharacter) {
  char text[] = "/a//b/";
  EXPECT_EQ(LStringReplaceChar<char>(text, '/', '\\'), text);
  EXPECT_STREQ(text, "\\a\\\\b\\");
  EXPECT_STREQ(LStringReplaceChar<char>(text, 'x', 'y'), "\\a\\\\b\\");
  EXPECT_STREQ(LStringReplaceChar<char>(text, '\0', 'y'), "\\a\\\\b\\");
  char high[] = "\x80\xFF";
  EXPECT_STREQ(LStringReplaceChar<char>(high, '\xFF', 'a'),
               "\x80"
               "a");
}

TEST(StringUtilities, ReplacingByZeroGoesOnToTheEnd) {
  char list[] = "a,b,c";
  LStringReplaceChar<char>(list, ',', '\0');
  EXPECT_EQ(std::string(list, sizeof list), std::string("a\0b\0c\0", 6));
}

TEST(StringUtilities, HexadecimalDigitsAtTheBeginningHaveAValue) {
  struct Case {
    const char* text;
    unsigned int value;
  };
  const Case cases[] = {{"", 0},
                        {"0", 0},
                        {"ff", 255},
                        {"FF", 255},
                        {"9aF", 0x9AF},
                        {"0x1F", 0},
                        {" 1", 0},
                        {"-1", 0},
                        {"+1", 0},
                        {"1g", 1},
                        {"1 2", 1},
                        {"g1", 0},
                        {"89abcdef", 0x89ABCDEF},
                        {"123456789", 0x23456789},
                        {"ABCDEF01234567890", 0x34567890},
                        {"1\xC3\xA9", 1},
                        {"/", 0},
                        {":", 0},
                        {"@", 0},
                        {"G", 0},
                        {"`", 0},
                        {"\xB1", 0}};
  for (const Case& one : cases) {
    SCOPED_TRACE(one.text);
    EXPECT_EQ(atoh(one.text), one.value);
    std::wstring wide;
    for (const char c : std::string(one.text)) wide += static_cast<unsigned char>(c);
    EXPECT_EQ(wtoh(wide.c_str()), one.value);
  }
}

TEST(StringUtilities, OnlyAsciiDigitsCountInWideText) {
  // Digits in their low byte, or in another script.
  for (const wchar_t c :
       {wchar_t(0x131), wchar_t(0x10031), wchar_t(0xFF11), wchar_t(0x661), static_cast<wchar_t>(-1)}) {
    const wchar_t text[] = {L'1', c, L'2', L'\0'};
    EXPECT_EQ(wtoh(text), 1u) << static_cast<long>(c);
  }
}

TEST(StringUtilities, BytesAreReversed) {
  unsigned short two = 0x1280;
  LEndianReverse(two);
  EXPECT_EQ(two, 0x8012);
  unsigned int four = 0x12345680;
  LEndianReverse(four);
  EXPECT_EQ(four, 0x80563412u);
  unsigned long long eight = 0x123456789ABCDEF0;
  LEndianReverse(eight);
  EXPECT_EQ(eight, 0xF0DEBC9A78563412u);
}

/// What `rand` gives after the two seeds that belong to a moment.
std::vector<int> Expected(unsigned int milliseconds, unsigned int seconds) {
  std::srand(milliseconds);
  std::srand(static_cast<unsigned int>(std::rand()) ^ seconds);
  return {std::rand(), std::rand(), std::rand()};
}

TEST(StringUtilities, RandomizeSeedsByTheMoment) {
  const auto now_ms = [] {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now.tv_sec * 1000 + now.tv_usec / 1000;
  };
  const long before = now_ms();
  randomize();
  const std::vector<int> numbers = {std::rand(), std::rand(), std::rand()};
  const long after = now_ms();
  bool is_one_of_them = false;
  for (long ms = before; ms <= after && !is_one_of_them; ++ms) {
    // The second may have begun, or time() may lag behind by a tick, between the two looks at the clock.
    for (long s = ms / 1000 - 1; s <= after / 1000; ++s) {
      is_one_of_them |= Expected(static_cast<unsigned int>(ms), static_cast<unsigned int>(s)) == numbers;
    }
  }
  EXPECT_TRUE(is_one_of_them) << "between " << before << " and " << after;
}

TEST(StringUtilities, RandomTextIsLowerCaseLettersAndATerminator) {
  for (const unsigned long length : {0ul, 1ul, 8ul, 1000ul}) {
    SCOPED_TRACE(length);
    GuardedText out(length + 1);
    EXPECT_EQ(LStringGenerateRandomPassword(out.Get(), length), out.Get());
    EXPECT_EQ(out.Text().size(), length);
    EXPECT_EQ(out.Text().find_first_not_of("abcdefghijklmnopqrstuvwxyz"), std::string::npos) << out.Text();
  }
}

TEST(StringUtilities, RandomTextHasEveryLetter) {
  char out[4001];
  LStringGenerateRandomPassword(out, 4000);
  for (char c = 'a'; c <= 'z'; ++c) EXPECT_NE(std::string(out).find(c), std::string::npos) << c;
}

TEST(StringUtilities, RandomTextIsRandModulo26) {
  const auto now_ms = [] {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now.tv_sec * 1000 + now.tv_usec / 1000;
  };
  const long before = now_ms();
  char out[4];
  LStringGenerateRandomPassword(out, 3);
  const long after = now_ms();
  bool is_one_of_them = false;
  for (long ms = before; ms <= after; ++ms) {
    for (long s = ms / 1000 - 1; s <= after / 1000; ++s) {
      std::string expected;
      for (const int number : Expected(static_cast<unsigned int>(ms), static_cast<unsigned int>(s))) {
        expected += static_cast<char>('a' + number % 26);
      }
      is_one_of_them |= expected == out;
    }
  }
  EXPECT_TRUE(is_one_of_them) << out << " between " << before << " and " << after;
}

TEST(StringUtilities, RandomTextIsSeededAnew) {
  std::srand(1);
  const int unseeded = std::rand();
  std::srand(1);
  char out[2];
  LStringGenerateRandomPassword(out, 0);
  // One chance in two thousand million that the clock gives the same.
  EXPECT_NE(std::rand(), unseeded);
}

}  // namespace
