#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include <tillvane/text/LCharsets.h>
#include <tillvane/text/utf8_paths.h>

#include <tests/support/guarded_buffer.h>
#include <tests/support/seeded_text.h>
#include <tests/support/utf8_reference.h>

namespace {

using support::GuardedBuffer;
using support::Hex;
using support::Utf8Reference;

TEST(Utf8Measure, CharactersOfATextGoByTheirFirstBytes) {
  const struct {
    std::string text;
    unsigned long characters;
  } cases[] = {
      {"", 0},
      {"a", 1},
      {"a\xC3\xA9", 2},
      {"\xE3\x81\x82\xF0\x9F\x98\x80", 2},
      // Continuation bytes alone.
      {"\x80\xBF\x80", 3},
      // What stands behind a first byte is not looked at.
      {"\xC3wx", 2},
      {"\xE3\xE3\xE3\xE3", 2},
      {"\xF0wxyz", 2},
      {"\xF7wxyz", 2},
      // Five and six bytes.
      {"\xF8pqrsw", 2},
      {"\xFBpqrsw", 2},
      {"\xFCpqrstw", 2},
      {"\xFFpqrstw", 2},
      // Cut by the terminator.
      {"\xC3", 1},
      {"a\xE3\x81", 2},
      {"a\xFC", 2},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(utf8strlen(c.text.c_str()), c.characters) << Hex(c.text);
    // Behind and before what is counted many bytes at once.
    for (const std::string& long_text : {std::string(300, 'a') + c.text, std::string(99, 'a') + "\u00E9" + c.text}) {
      const unsigned long more = Utf8Reference(long_text).Beginnings().size();
      EXPECT_EQ(utf8strlen(long_text.c_str()), more) << Hex(c.text);
    }
  }
}

TEST(Utf8Measure, CopiesWholeCharacters) {
  const struct {
    std::string text;
    unsigned long size;
    std::string copied;
  } cases[] = {
      {"a\xE2\x82\xAC", 5, "a\xE2\x82\xAC"},
      {"a\xE2\x82\xAC", 4, "a"},
      {"a\xE2\x82\xAC", 3, "a"},
      {"a\xE2\x82\xAC", 1, ""},
      {"a\xE2\x82\xAC", 0, ""},
      {"", 0, ""},
      {"", 5, ""},
      {"\x80\x80\x80", 3, "\x80\x80"},
      {"\xFCpqrstw", 8, "\xFCpqrstw"},
      {"\xFCpqrstw", 7, "\xFCpqrst"},
      {"\xFCpqrstw", 6, ""},
      // What the terminator cuts is copied as far as it goes, where all of it would have fit.
      {"a\xE3\x81", 5, "a\xE3\x81"},
      {"a\xE3\x81", 4, "a"},
  };
  for (const auto& c : cases) {
    const std::string shown = Hex(c.text) + "into " + std::to_string(c.size);
    GuardedBuffer<char> buffer(c.size != 0 ? c.size : 1);
    EXPECT_EQ(utf8strlcpy(buffer.get(), c.text.c_str(), c.size), c.copied.size()) << shown;
    EXPECT_EQ(Hex(buffer.get()), Hex(c.copied)) << shown;
    EXPECT_TRUE(buffer.IsUntouchedFrom(c.copied.size() + 1)) << shown;
  }
}

TEST(Utf8Measure, IndexesOfCharactersAndBytes) {
  const struct {
    std::string text;
    unsigned long index, bytes, characters;
  } cases[] = {
      {"\u00E9b", 0, 0, 0},    {"\u00E9b", 1, 2, 1},  {"\u00E9b", 2, 3, 1},    {"\u00E9b", 3, 3, 2},
      {"\u00E9b", ~0ul, 3, 2}, {"", 0, 0, 0},         {"", 5, 0, 0},           {"a\xFC", 1, 1, 1},
      {"a\xFC", 2, 2, 2},      {"a\xFC", 7, 2, 2},    {"\xFCpqrstz", 1, 6, 1}, {"\xFCpqrstz", 6, 7, 1},
      {"\xFCpqrstz", 7, 7, 2}, {"\x80\x80", 1, 1, 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(LCharsetsUTF8CharIndexToByteIndex(c.text.c_str(), c.index), c.bytes) << c.index << ": " << Hex(c.text);
    EXPECT_EQ(LCharsetsUTF8ByteIndexToCharIndex(c.text.c_str(), c.index), c.characters)
        << c.index << ": " << Hex(c.text);
  }
}

/// All of them on each path, with a copy that ends where its memory ends.
void ExpectAsReference(const std::string& source, std::size_t index) {
  const Utf8Reference reference(source);
  const auto exact = std::make_unique<char[]>(source.size() + 1);
  std::memcpy(exact.get(), source.c_str(), source.size() + 1);
  for (const text::Utf8Path& path : text::Utf8Paths()) {
    EXPECT_EQ(text::CharactersInBytes(path, exact.get(), source.size()), reference.Beginnings().size())
        << path.name << ": " << Hex(source);
    EXPECT_EQ(text::CharactersInBytes(path, exact.get(), index), reference.ByteToChar(index))
        << path.name << ' ' << index << ": " << Hex(source);
    EXPECT_EQ(text::BytesOfCharacters(path, exact.get(), index), reference.CharToByte(index))
        << path.name << ' ' << index << ": " << Hex(source);
    const std::string cut = reference.Cut(index);
    GuardedBuffer<char> buffer(std::max<std::size_t>(index, 1));
    EXPECT_EQ(text::CopyCharacters(path, buffer.get(), exact.get(), index), cut.size())
        << path.name << ' ' << index << ": " << Hex(source);
    EXPECT_STREQ(buffer.get(), cut.c_str()) << path.name << ' ' << index << ": " << Hex(source);
    EXPECT_TRUE(buffer.IsUntouchedFrom(cut.size() + 1)) << path.name << ' ' << index << ": " << Hex(source);
  }
}

TEST(Utf8Measure, AnyTextsAndIndexes) {
  support::SeededText random(5);
  for (int i = support::SeededCases() / 8; i > 0 && !testing::Test::HasFailure(); --i) {
    // Some long ones: what is counted at once is longer than what is converted at once.
    std::string source = random.Below(2) != 0 ? random.LegalUtf8() : random.BrokenUtf8();
    if (random.Below(16) == 0) source += random.LegalUtf8() + std::string(random.Below(401), 'a') + random.BrokenUtf8();
    ExpectAsReference(source, random.Below(source.size() + 3));
  }
}

/// What is counted at once must not become too much.
TEST(Utf8Measure, VeryLongTexts) {
  for (const std::string piece : {"a", "\u00E9", "\u3042", "\U0001F600"}) {
    std::string text;
    while (text.size() < 50'000) text += piece;
    for (const text::Utf8Path& path : text::Utf8Paths()) {
      EXPECT_EQ(text::CharactersInBytes(path, text.c_str(), text.size()), text.size() / piece.size())
          << path.name << ": " << piece;
    }
  }
}

TEST(Utf8Measure, LongTextsWithOneOddByte) {
  const std::string pieces[] = {"a", "\u00E9", "\u3042", "\U0001F600", "a\u00E9\u3042\U0001F600"};
  for (const std::string& piece : pieces) {
    std::string text;
    while (text.size() < 700) text += piece;
    for (std::size_t at = 0; at < text.size(); at += 3) {
      for (const char odd : {'\x80', '\xC3', '\xE3', '\xF0', '\xF8', '\xFC'}) {
        std::string broken = text;
        broken[at] = odd;
        for (const text::Utf8Path& path : text::Utf8Paths()) {
          EXPECT_EQ(text::CharactersInBytes(path, broken.c_str(), broken.size()),
                    Utf8Reference(broken).Beginnings().size())
              << path.name << ' ' << at << ": " << Hex(broken);
        }
      }
    }
  }
}

}  // namespace
