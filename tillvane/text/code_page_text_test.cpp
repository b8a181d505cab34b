#include <string>

#include <gtest/gtest.h>

#include <tillvane/text/LCharsets.h>

#include <tests/support/guarded_buffer.h>

namespace {

using support::GuardedBuffer;

/// Converts into a buffer of `size` bytes; what is not written shows as 'k'.
template <class Convert>
std::string Converted(unsigned long size, Convert convert) {
  GuardedBuffer<char> buffer(size);
  convert(buffer.get());
  EXPECT_TRUE(buffer.IsWhole());
  return std::string(buffer.get(), size);
}

struct SizedCase {
  std::string source;
  unsigned long size;
  std::string bytes;
};

std::string Bytes(const char* bytes, std::size_t count) { return std::string(bytes, count); }

TEST(CodePageText, ToIso88591) {
  const SizedCase cases[] = {
      // The terminator is converted, and another one written behind it where there is room.
      {"", 3, Bytes("\0\0k", 3)},
      {"", 1, Bytes("\0", 1)},
      {"a\u00E9", 5, Bytes("a\xE9\0\0k", 5)},
      {"a\u00E9", 3, Bytes("a\xE9\0", 3)},
      // No room for a terminator: none.
      {"a\u00E9", 2, "a\xE9"},
      {"a\u00E9", 1, "a"},
      // Up to what has no place in it, or is not UTF-8.
      {"a\u20ACb", 4, Bytes("a\0kk", 4)},
      {"a\x80x", 4, Bytes("a\0kk", 4)},
      {"a\xC3", 4, Bytes("a\0kk", 4)},
  };
  for (const SizedCase& c : cases) {
    EXPECT_EQ(Converted(c.size, [&](char* to) { LCopyToISO88591(to, c.source.c_str(), c.size); }), c.bytes) << c.source;
    EXPECT_EQ(Converted(c.size, [&](char* to) { LCopyToWIN1252(to, c.source.c_str(), c.size); }), c.bytes) << c.source;
  }
}

TEST(CodePageText, FromIso88591) {
  const SizedCase cases[] = {
      {"", 3, Bytes("\0\0k", 3)},
      {"a\xE9", 6, Bytes("a\u00E9\0\0k", 6)},
      {"a\xE9", 4, Bytes("a\u00E9\0", 4)},
      {"a\xE9", 3, "a\u00E9"},
      // Half a character is not written.
      {"a\xE9", 2, Bytes("a\0", 2)},
      // Not the euro sign of Windows-1252.
      {"\x80", 5, Bytes("\u0080\0\0k", 5)},
  };
  for (const SizedCase& c : cases) {
    EXPECT_EQ(Converted(c.size, [&](char* to) { LCopyFromISO88591(to, c.source.c_str(), c.size); }), c.bytes);
    EXPECT_EQ(Converted(c.size, [&](char* to) { LCopyFromWIN1252(to, c.source.c_str(), c.size); }), c.bytes);
  }
}

TEST(CodePageText, WithoutASizeTheBoundIsTheSourcesLength) {
  EXPECT_EQ(Converted(4, [](char* to) { LCopyToISO88591(to, "a\u00E9"); }), Bytes("a\xE9\0k", 4));
  EXPECT_EQ(Converted(4, [](char* to) { LCopyFromISO88591(to, "abc"); }), Bytes("abc\0", 4));
  // "a\xE9" gives three bytes; with the terminator there is room for three.
  EXPECT_EQ(Converted(5, [](char* to) { LCopyFromISO88591(to, "a\xE9"); }), "a\u00E9kk");
  EXPECT_EQ(Converted(5, [](char* to) { LCopyFromISO88591(to, "\xE9\xE9"); }), "\u00E9kkk");
  // The form behind them writes no terminator of its own where a conversion ends early.
  EXPECT_EQ(Converted(4, [](char* to) { LCopyToISO88591(to, "a\u20AC"); }), "akkk");
  EXPECT_EQ(Converted(3, [](char* to) { LCopyToISO88591(to, "\u20AC"); }), Bytes("\0kk", 3));
}

TEST(CodePageText, AnyEncodingThatIconvKnows) {
  const auto convert = [](const char* source, unsigned long size, const char* to, const char* from) {
    return Converted(size, [=](char* bytes) { LCopyIconvFixedLength<char, char>(bytes, source, size, to, from); });
  };
  EXPECT_EQ(convert("\uAC00", 5, "EUC-KR", "UTF-8"), Bytes("\xB0\xA1\0\0k", 5));
  EXPECT_EQ(convert("\xB0\xA1", 6, "UTF-8", "EUC-KR"), Bytes("\uAC00\0\0k", 6));
  // The terminator is converted too.
  EXPECT_EQ(convert("A", 6, "UTF-16LE", "UTF-8"), Bytes("A\0\0\0\0k", 6));
  EXPECT_EQ(convert("abc", 4, "no such encoding", "UTF-8"), Bytes("\0kkk", 4));
  EXPECT_EQ(convert("abc", 4, "UTF-8", "no such encoding"), Bytes("\0kkk", 4));
  EXPECT_EQ(Converted(4, [](char* to) { LCopyIconvFixedLength<char, char>(to, "abc", "none", "UTF-8"); }),
            Bytes("\0kkk", 4));
  EXPECT_EQ(Converted(4, [](char* to) { LCopyIconvFixedLength<char, char>(to, "abc", "ASCII", "UTF-8"); }),
            Bytes("abc\0", 4));
}

TEST(CodePageText, SizeZeroWritesNothing) {
  char none = 'x';
  LCopyToISO88591(&none, "a", 0);
  LCopyFromISO88591(&none, "a", 0);
  LCopyIconvFixedLength<char, char>(&none, "a", 0, "UTF-8", "none");
  EXPECT_EQ(LCopyToEUCKR(&none, "abc", 0), 3u);
  EXPECT_EQ(none, 'x');
}

TEST(CodePageText, KoreanAndJapaneseBytesStayAsTheyAre) {
  using Copy = unsigned long (*)(char*, const char*, unsigned long);
  for (const Copy copy : {static_cast<Copy>(LCopyToEUCKR), static_cast<Copy>(LCopyFromEUCKR),
                          static_cast<Copy>(LCopyToSHIFTJIS932), static_cast<Copy>(LCopyFromSHIFTJIS932)}) {
    const SizedCase cases[] = {
        {"", 2, Bytes("\0k", 2)},
        {"\xB0\xA1", 4, Bytes("\xB0\xA1\0k", 4)},
        {"\xB0\xA1", 3, Bytes("\xB0\xA1\0", 3)},
        {"\xB0\xA1", 2, Bytes("\xB0\0", 2)},
        {"\xB0\xA1", 1, Bytes("\0", 1)},
    };
    for (const SizedCase& c : cases) {
      EXPECT_EQ(Converted(c.size, [&](char* to) { EXPECT_EQ(copy(to, c.source.c_str(), c.size), c.source.size()); }),
                c.bytes)
          << c.size;
    }
  }
}

TEST(CodePageText, GrowableTextsGetTheirRoomAndKeepTheirLength) {
  using Copy = void (*)(LStringLong&, const char*);
  const struct {
    Copy copy;
    const char *source, *text;
    unsigned int capacity;
  } cases[] = {
      {LCopyToISO88591, "a\u00E9", "a\xE9", 4},
      {LCopyToWIN1252, "a\u00E9", "a\xE9", 4},
      {LCopyToISO88591, "a\u20ACb", "a", 6},
      {LCopyFromISO88591, "a\xE9", "a\u00E9", 13},
      {LCopyFromWIN1252, "\xE9\xE9\xE9", "\u00E9\u00E9\u00E9", 19},
      {LCopyFromISO88591, "", "", 1},
  };
  for (const auto& c : cases) {
    LStringLong target;
    c.copy(target, c.source);
    EXPECT_STREQ(target.c_str(), c.text);
    EXPECT_EQ(target.capacity(), c.capacity) << c.text;
    EXPECT_EQ(target.size(), 0u) << c.text;
    LStringLong used;
    used = "0123";
    c.copy(used, c.source);
    EXPECT_STREQ(used.c_str(), c.text);
    EXPECT_EQ(used.size(), 4u) << c.text;
  }
}

TEST(CodePageText, GrowableTextsOfBytesAnswerTheSourcesLength) {
  using Copy = unsigned long (*)(LStringLong&, const char*);
  const struct {
    Copy copy;
    unsigned int capacity;
  } cases[] = {{LCopyToEUCKR, 4}, {LCopyToSHIFTJIS932, 4}, {LCopyFromEUCKR, 19}, {LCopyFromSHIFTJIS932, 19}};
  for (const auto& c : cases) {
    LStringLong target;
    EXPECT_EQ(c.copy(target, "\xB0\xA1z"), 3u);
    EXPECT_STREQ(target.c_str(), "\xB0\xA1z");
    EXPECT_EQ(target.capacity(), c.capacity);
    EXPECT_EQ(target.size(), 0u);
  }
}

TEST(CodePageText, AGrowableTextMayBeItsOwnSource) {
  LStringLong text;
  text = "a\xE9";
  LCopyFromISO88591(text, text.c_str());
  EXPECT_STREQ(text.c_str(), "a\u00E9");
  LCopyToISO88591(text, text.c_str());
  EXPECT_STREQ(text.c_str(), "a\xE9");
  EXPECT_EQ(LCopyFromEUCKR(text, text.c_str() + 1), 1u);
  EXPECT_STREQ(text.c_str(), "\xE9");
  LStringLong small;
  small = "\xB0\xA1";
  EXPECT_EQ(LCopyFromEUCKR(small, small.c_str()), 2u);
  EXPECT_STREQ(small.c_str(), "\xB0\xA1");
  EXPECT_EQ(small.capacity(), 13u);
}

}  // namespace
