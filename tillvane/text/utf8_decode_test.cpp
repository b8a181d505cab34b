#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/text/LCharsets.h>
#include <tillvane/text/utf8_paths.h>

#include <tests/support/guarded_buffer.h>
#include <tests/support/seeded_text.h>
#include <tests/support/utf8_reference.h>

namespace {

using support::GuardedBuffer;
using support::Hex;
using support::Utf8Answer;
using support::Utf8Reference;

/// A copy with nothing behind its terminator, so that reading on is noticed.
struct ExactText {
  explicit ExactText(std::string_view text) : bytes(new char[text.size() + 1]) {
    text.copy(bytes.get(), text.size());
    bytes[text.size()] = '\0';
  }
  std::unique_ptr<char[]> bytes;
};

/// Converts into exactly `size` units and watches that nothing else is written.
template <class Unit>
Utf8Answer Decode(const text::Utf8Path& path, std::string_view source, std::size_t size) {
  const ExactText exact(source);
  GuardedBuffer<Unit> buffer(size);
  const int status = text::DecodeUtf8(path, buffer.get(), exact.bytes.get(), size);
  EXPECT_TRUE(buffer.IsWhole()) << path.name << ' ' << size << ": " << Hex(source);
  Utf8Answer answer{{}, status};
  for (std::size_t i = 0; i < size && buffer[i] != 0; ++i) answer.text += static_cast<char32_t>(buffer[i]);
  return answer;
}

void ExpectAsReference(std::string_view source, std::size_t size) {
  const Utf8Answer expected = Utf8Reference(source).Decode(size);
  for (const text::Utf8Path& path : text::Utf8Paths()) {
    const Utf8Answer answer = Decode<wchar_t>(path, source, size);
    EXPECT_EQ(answer.status, expected.status) << path.name << ' ' << size << ": " << Hex(source);
    EXPECT_TRUE(answer.text == expected.text) << path.name << ' ' << size << ": " << Hex(source);
  }
}

TEST(Utf8Decode, Table) {
  const struct {
    std::string source;
    unsigned long size;
    std::u32string text;
    int status;
  } cases[] = {
      {"", 1, U"", 0},
      {"A\xC3\xA9", 10, U"A\u00E9", 0},
      {"A\xC3\xA9", 4, U"A\u00E9", 0},
      {"A\xC3\xA9", 3, U"A", 1},
      {"A\xC3\xA9", 2, U"A", 1},
      {"A\xC3\xA9", 1, U"", 1},
      {"\xC0\xAF", 10, U"", 2},
      {"\xC1\xBF", 10, U"", 2},
      {"\xED\xA0\x80", 10, U"", 2},
      {"\xED\x9F\xBF", 10, U"\uD7FF", 0},
      {"\xED\xBF\xBF", 10, U"", 2},
      {"\xEE\x80\x80", 10, U"\uE000", 0},
      {"ab\x80yz", 10, U"ab", 2},
      {"\xE0\x9F\xBF", 10, U"", 2},
      {"\xE0\xA0\x80", 10, U"\u0800", 0},
      {"\xEF\xBF\xBF", 10, U"\uFFFF", 0},
      {"\xF0\x8F\xBF\xBF", 10, U"", 2},
      {"\xF0\x90\x80\x80", 10, U"\U00010000", 0},
      {"\xF4\x8F\xBF\xBF", 10, U"\U0010FFFF", 0},
      {"\xF4\x90\x80\x80", 10, U"", 2},
      {"\xF5\x80\x80\x80", 10, U"", 2},
      {"\xF8\x88\x80\x80\x80", 10, U"", 2},
      {"\xFC\x84\x80\x80\x80\x80", 10, U"", 2},
      {"\xFF", 10, U"", 2},
      {"\xF0\x9F\x98\x80", 5, U"\U0001F600", 0},
      // The bound comes before the question of what is legal, and goes by what the first byte says.
      {"\xF8", 6, U"", 2},
      {"\xF8", 5, U"", 1},
      {"\xFC", 7, U"", 2},
      {"\xFC", 6, U"", 1},
      {"\xE3\x81", 4, U"", 2},
      {"\xE3\x81", 3, U"", 1},
      {"\x80", 2, U"", 2},
      {"\x80", 1, U"", 1},
      // What is cut by the terminator.
      {"a\xC3", 10, U"a", 2},
      {"a\xE3\x81", 10, U"a", 2},
      {"a\xF0\x9F\x98", 10, U"a", 2},
      // Bytes of the source count: seven characters of three bytes need a size of 22.
      {"\u3042\u3042\u3042\u3042\u3042\u3042\u3042", 22, U"\u3042\u3042\u3042\u3042\u3042\u3042\u3042", 0},
      {"\u3042\u3042\u3042\u3042\u3042\u3042\u3042", 21, U"\u3042\u3042\u3042\u3042\u3042\u3042", 1},
  };
  for (const auto& c : cases) {
    for (const text::Utf8Path& path : text::Utf8Paths()) {
      const Utf8Answer answer = Decode<wchar_t>(path, c.source, c.size);
      EXPECT_EQ(answer.status, c.status) << path.name << ' ' << c.size << ": " << Hex(c.source);
      EXPECT_TRUE(answer.text == c.text) << path.name << ' ' << c.size << ": " << Hex(c.source);
    }
    wchar_t buffer[32];
    EXPECT_EQ(LCopyUTF32FromUTF8Native(buffer, c.source.c_str(), c.size), c.status) << Hex(c.source);
    EXPECT_EQ(LCopyUTF32FromUTF8(buffer, c.source.c_str(), c.size), c.status) << Hex(c.source);
  }
}

TEST(Utf8Decode, SizeZeroWritesNothing) {
  wchar_t buffer = L'x';
  EXPECT_EQ(LCopyUTF32FromUTF8(&buffer, "", 0), 0);
  EXPECT_EQ(LCopyUTF32FromUTF8(&buffer, "a", 0), 1);
  EXPECT_EQ(buffer, L'x');
}

TEST(Utf8Decode, ASizeMayBeLargerThanTheMemory) {
  wchar_t buffer[3];
  EXPECT_EQ(LCopyUTF32FromUTF8(buffer, "\u00E9\u3042", ~0ul), 0);
  EXPECT_EQ(std::wstring(buffer), L"\u00E9\u3042");
}

TEST(Utf8Decode, LeavesWhatStandsBehindAGoodTextAlone) {
  const std::string pieces[] = {"a", "\u00E9", "\u3042", "\U0001F600"};
  for (const std::string& piece : pieces) {
    for (std::size_t count = 0; count <= 200; ++count) {
      std::string source;
      // Long runs of ASCII are what is stored in one go.
      for (std::size_t i = 0; i < count; ++i) source += i % 7 == 0 ? piece : "aaaaa";
      const std::size_t units = Utf8Reference(source).Beginnings().size();
      for (const text::Utf8Path& path : text::Utf8Paths()) {
        GuardedBuffer<wchar_t> buffer(source.size() + 100);
        EXPECT_EQ(text::DecodeUtf8(path, buffer.get(), source.c_str(), source.size() + 100), 0);
        EXPECT_TRUE(buffer.IsUntouchedFrom(units + 1)) << path.name << ": " << source;
      }
    }
  }
}

TEST(Utf8Decode, LeavesWhatStandsBehindATextWithoutAsciiAlone) {
  const std::string pieces[] = {"\u00E9", "\u3042", "\U0001F600"};
  for (const std::string& piece : pieces) {
    for (std::size_t ascii = 0; ascii < 20; ++ascii) {
      std::string source(ascii, 'a');
      for (std::size_t count = 0; count <= 100; ++count, source += piece) {
        for (const text::Utf8Path& path : text::Utf8Paths()) {
          GuardedBuffer<wchar_t> buffer(source.size() + 100);
          EXPECT_EQ(text::DecodeUtf8(path, buffer.get(), source.c_str(), source.size() + 100), 0);
          EXPECT_TRUE(buffer.IsUntouchedFrom(ascii + count + 1)) << path.name << ": " << source;
        }
      }
    }
  }
}

/// One short text through the public function, without a word when it is right.
void ExpectShortAsReference(std::string_view source) {
  wchar_t buffer[8];
  char terminated[8] = {};
  source.copy(terminated, sizeof terminated - 1);
  const int status = LCopyUTF32FromUTF8Native(buffer, terminated, 8);
  const Utf8Answer expected = Utf8Reference(source).Decode(8);
  bool is_same = status == expected.status && std::wcslen(buffer) == expected.text.size();
  for (std::size_t i = 0; is_same && i < expected.text.size(); ++i) {
    is_same = static_cast<char32_t>(buffer[i]) == expected.text[i];
  }
  EXPECT_TRUE(is_same) << Hex(source);
}

TEST(Utf8Decode, AllPairsOfBytes) {
  for (int first = 1; first < 256; ++first) {
    for (int second = 1; second < 256; ++second) {
      const char source[] = {static_cast<char>(first), static_cast<char>(second)};
      ExpectShortAsReference({source, 2});
    }
  }
}

TEST(Utf8Decode, AllSequencesOfThreeBytes) {
  for (int number = 0xE00101; number <= 0xEFFFFF; ++number) {
    const char source[] = {static_cast<char>(number >> 16), static_cast<char>(number >> 8), static_cast<char>(number)};
    if (source[1] != 0 && source[2] != 0) ExpectShortAsReference({source, 3});
  }
}

TEST(Utf8Decode, AllBeginningsOfFourBytes) {
  for (int lead = 0xF0; lead <= 0xFF; ++lead) {
    for (int second = 1; second < 256; ++second) {
      for (const char* const rest :
           {"\x80\x80", "\xBF\xBF", "\x7F\x80", "\xC0\x80", "\x80\x7F", "\x80\xC0", "\x80", ""}) {
        ExpectShortAsReference(std::string{static_cast<char>(lead), static_cast<char>(second)} + rest);
      }
    }
  }
}

/// Where what takes many bytes at once meets a sequence: first, in the middle and last of what it takes.
TEST(Utf8Decode, SequencesInsideOfRuns) {
  const std::string neighbours[] = {"a", "\u00E9", "\u3042", "\U0001F600"};
  const std::string rests[] = {"\x80\x80", "\xBF\xBF", "\x7F\x80", "\xC0\x80", "\x80\x7F", "\x80\xC0"};
  for (int lead = 0x80; lead <= 0xFF; ++lead) {
    for (const char second : {'\x7F', '\x80', '\x8F', '\x90', '\x9F', '\xA0', '\xBF', '\xC0'}) {
      const std::string pair{static_cast<char>(lead), second};
      for (std::size_t before = 0; before < 6; ++before) {
        const std::string& neighbour = neighbours[(before + static_cast<unsigned>(lead)) % 4];
        std::string source;
        for (std::size_t i = 0; i < before; ++i) source += neighbour;
        source.append(pair).append(rests[before]).append(neighbour);
        ExpectAsReference(source + std::string(80, 'b'), 200);
      }
    }
  }
}

TEST(Utf8Decode, EverySizeOfLongTexts) {
  for (const std::string piece : {"\u00E9", "\u3042", "\U0001F600"}) {
    for (const std::size_t before : {0u, 3u, 61u}) {
      std::string source(before, 'a');
      for (int i = 0; i < 70; ++i) source += piece;
      source.append(200, 'b');
      for (std::size_t size = 1; size <= source.size() + 1; ++size) ExpectAsReference(source, size);
    }
  }
}

TEST(Utf8Decode, AllCodePointsInOrder) {
  std::vector<std::int32_t> values;
  for (std::int32_t value = 1; value <= 0x10FFFF; ++value) {
    if (value < 0xD800 || value > 0xDFFF) values.push_back(value);
  }
  std::string source;
  ASSERT_EQ(support::ReferenceEncode(values, std::string::npos, &source), 0);
  for (const text::Utf8Path& path : text::Utf8Paths()) {
    std::vector<wchar_t> wide(source.size() + 1);
    ASSERT_EQ(text::DecodeUtf8(path, wide.data(), source.c_str(), source.size() + 1), 0) << path.name;
    std::vector<unsigned short> units(source.size() + 1);
    ASSERT_EQ(text::DecodeUtf8(path, units.data(), source.c_str(), source.size() + 1), 0) << path.name;
    for (std::size_t i = 0; i < values.size(); ++i) {
      ASSERT_EQ(static_cast<std::int32_t>(wide[i]), values[i]) << path.name;
      ASSERT_EQ(units[i], values[i] & 0xFFFF) << path.name;
    }
    EXPECT_EQ(wide[values.size()], L'\0');
    EXPECT_EQ(units[values.size()], 0);
  }
}

TEST(Utf8Decode, AnyTextsAndSizes) {
  support::SeededText random(1);
  for (int i = support::SeededCases() / 4; i > 0 && !testing::Test::HasFailure(); --i) {
    const std::string source = random.Below(4) != 0 ? random.BrokenUtf8() : random.LegalUtf8();
    const std::size_t size =
        random.Below(4) != 0 ? source.size() + 1 + random.Below(8) : 1 + random.Below(source.size() + 1);
    const Utf8Answer expected = Utf8Reference(source).Decode(size);
    for (const text::Utf8Path& path : text::Utf8Paths()) {
      GuardedBuffer<wchar_t> buffer(size);
      const int status = text::DecodeUtf8(path, buffer.get(), source.c_str(), size);
      EXPECT_EQ(status, expected.status) << path.name << ' ' << size << ": " << Hex(source);
      EXPECT_TRUE(buffer.IsWhole()) << path.name << ' ' << size << ": " << Hex(source);
      bool is_same = buffer[expected.text.size()] == 0;
      for (std::size_t at = 0; at < expected.text.size(); ++at) {
        is_same = is_same && static_cast<char32_t>(buffer[at]) == expected.text[at];
      }
      EXPECT_TRUE(is_same) << path.name << ' ' << size << ": " << Hex(source);
    }
  }
}

/// As code points, each cut to 16 bits.
TEST(Utf8Decode, UnitsAreTheLowBitsOfCodePoints) {
  support::SeededText random(2);
  for (int i = support::SeededCases() / 10; i > 0 && !testing::Test::HasFailure(); --i) {
    const std::string source = random.Below(2) != 0 ? random.BrokenUtf8() : random.LegalUtf8();
    const std::size_t size = 1 + random.Below(source.size() + 3);
    const Utf8Answer expected = Utf8Reference(source).Decode(size);
    for (const text::Utf8Path& path : text::Utf8Paths()) {
      GuardedBuffer<unsigned short> buffer(size);
      EXPECT_EQ(text::DecodeUtf8(path, buffer.get(), source.c_str(), size), expected.status) << Hex(source);
      EXPECT_TRUE(buffer.IsWhole()) << path.name << ' ' << size << ": " << Hex(source);
      for (std::size_t at = 0; at < expected.text.size(); ++at) {
        ASSERT_EQ(buffer[at], static_cast<unsigned short>(expected.text[at])) << path.name << ": " << Hex(source);
      }
      ASSERT_EQ(buffer[expected.text.size()], 0) << path.name << ' ' << size << ": " << Hex(source);
    }
  }
}

}  // namespace
