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

template <class Unit>
std::vector<Unit> Terminated(const std::vector<std::int32_t>& values) {
  std::vector<Unit> units;
  for (const std::int32_t value : values) units.push_back(static_cast<Unit>(value));
  units.push_back(0);
  return units;
}

/// Encodes on every path into exactly `size` bytes.
template <class Unit>
void ExpectEncoded(const std::vector<std::int32_t>& values, std::size_t size, const std::string& expected,
                   int expected_status) {
  const std::vector<Unit> units = Terminated<Unit>(values);
  for (const text::Utf8Path& path : text::Utf8Paths()) {
    GuardedBuffer<char> buffer(size);
    const int status = text::EncodeUtf8(path, buffer.get(), units.data(), size);
    EXPECT_EQ(status, expected_status) << path.name << ' ' << size << ": " << Hex(expected);
    EXPECT_TRUE(buffer.IsWhole()) << path.name << ' ' << size << ": " << Hex(expected);
    EXPECT_EQ(Hex({buffer.get(), expected.size()}), Hex(expected)) << path.name << ' ' << size;
    EXPECT_EQ(buffer[expected.size()], '\0') << path.name << ' ' << size << ": " << Hex(expected);
  }
}

TEST(Utf8Encode, Table) {
  const struct {
    std::vector<std::int32_t> values;
    unsigned long size;
    std::string text;
    int status;
  } cases[] = {
      {{}, 1, "", 0},
      {{'a'}, 2, "a", 0},
      {{'a'}, 1, "", 1},
      {{0x7F, 0x80}, 10, "\x7F\xC2\x80", 0},
      {{0x7FF, 0x800}, 10, "\xDF\xBF\xE0\xA0\x80", 0},
      {{0xFFFF, 0x10000}, 10, "\xEF\xBF\xBF\xF0\x90\x80\x80", 0},
      {{0x1F600}, 10, "\xF0\x9F\x98\x80", 0},
      {{0x10FFFF}, 10, "\xF4\x8F\xBF\xBF", 0},
      {{0x110000}, 10, "\xEF\xBF\xBD", 2},
      {{0x7FFFFFFF, 'z'}, 10, "\xEF\xBF\xBDz", 2},
      {{0xD800, 0xDFFF}, 10, "\xED\xA0\x80\xED\xBF\xBF", 0},
      {{-1, -0x80, -0x1BF}, 10, "\xFF\x80\x41", 0},
      // A negative value whose low bits are 0 is a byte like the others: the text goes on behind it.
      {{'a', -0x100, 'b'}, 10, std::string("a\0b", 3), 0},
      // Ends before what does not fit with a terminator.
      {{'a', 0xE9}, 4, "a\xC3\xA9", 0},
      {{'a', 0xE9}, 3, "a", 1},
      {{'a', 0x3042, 'b'}, 5, "a\xE3\x81\x82", 1},
      {{'a', 0x3042, 'b'}, 4, "a", 1},
      {{0x1F600}, 5, "\xF0\x9F\x98\x80", 0},
      {{0x1F600}, 4, "", 1},
      {{0x110000}, 4, "\xEF\xBF\xBD", 2},
      {{0x110000}, 3, "", 1},
      {{0x110000, 'a'}, 4, "\xEF\xBF\xBD", 1},
      {{-1}, 1, "", 1},
  };
  for (const auto& c : cases) {
    ExpectEncoded<wchar_t>(c.values, c.size, c.text, c.status);
    char buffer[16];
    const std::vector<wchar_t> units = Terminated<wchar_t>(c.values);
    EXPECT_EQ(LCopyUTF8FromUTF32Native(buffer, units.data(), c.size), c.status) << Hex(c.text);
    EXPECT_EQ(LCopyUTF8FromUTF32(buffer, units.data(), c.size), c.status) << Hex(c.text);
    EXPECT_EQ(Hex({buffer, c.text.size() + 1}), Hex(std::string(c.text.c_str(), c.text.size() + 1)));
  }
}

TEST(Utf8Encode, SizeZeroWritesNothing) {
  char buffer = 'x';
  EXPECT_EQ(LCopyUTF8FromUTF32(&buffer, L"", 0), 0);
  EXPECT_EQ(LCopyUTF8FromUTF32(&buffer, L"a", 0), 1);
  EXPECT_EQ(buffer, 'x');
}

TEST(Utf8Encode, ASizeMayBeLargerThanTheMemory) {
  char buffer[7];
  EXPECT_EQ(LCopyUTF8FromUTF32(buffer, L"\u00E9\u3042", ~0ul), 0);
  EXPECT_STREQ(buffer, "\u00E9\u3042");
}

TEST(Utf8Encode, LeavesWhatStandsBehindATextAlone) {
  for (const std::int32_t value : {0x61, 0xE9, 0x3042, 0x1F600}) {
    for (std::size_t count = 0; count <= 200; ++count) {
      std::vector<std::int32_t> values(count, value);
      // Long runs of ASCII are what is stored in one go.
      for (std::size_t i = 0; i < count; ++i) values[i] = i % 30 < 25 && count % 2 == 0 ? 'a' : value;
      std::string expected;
      support::ReferenceEncode(values, std::string::npos, &expected);
      const std::vector<wchar_t> units = Terminated<wchar_t>(values);
      for (const text::Utf8Path& path : text::Utf8Paths()) {
        GuardedBuffer<char> buffer(expected.size() + 100);
        EXPECT_EQ(text::EncodeUtf8(path, buffer.get(), units.data(), expected.size() + 100), 0);
        EXPECT_TRUE(buffer.IsUntouchedFrom(expected.size() + 1)) << path.name << ": " << expected;
      }
    }
  }
}

TEST(Utf8Encode, LeavesWhatStandsBehindATextWithoutAsciiAlone) {
  for (const std::int32_t value : {0xE9, 0x3042, 0x1F600}) {
    for (std::size_t count = 0; count <= 200; ++count) {
      const std::vector<std::int32_t> values(count, value);
      std::string expected;
      support::ReferenceEncode(values, std::string::npos, &expected);
      const std::vector<wchar_t> units = Terminated<wchar_t>(values);
      for (const text::Utf8Path& path : text::Utf8Paths()) {
        GuardedBuffer<char> buffer(expected.size() + 100);
        EXPECT_EQ(text::EncodeUtf8(path, buffer.get(), units.data(), expected.size() + 100), 0);
        EXPECT_TRUE(buffer.IsUntouchedFrom(expected.size() + 1)) << path.name << ": " << expected;
      }
    }
  }
}

/// Values of which a part looks like ASCII, where many are looked at at once.
TEST(Utf8Encode, OtherUnitsInsideOfAscii) {
  for (const std::int32_t value :
       {0x80, 0x141, 0x7FF, 0x841, 0x8041, 0xFF41, 0x10041, 0x110041, 0x7FFF0041, -0x80, -0xBF, -0x7FFFFFBF}) {
    for (std::size_t at = 0; at < 130; ++at) {
      std::vector<std::int32_t> values(200, 'a');
      values[at] = value;
      std::string expected;
      const int status = support::ReferenceEncode(values, std::string::npos, &expected);
      ExpectEncoded<wchar_t>(values, expected.size() + 1, expected, status);
      if (value < 0 || value > 0xFFFF) continue;
      ExpectEncoded<unsigned short>(values, expected.size() + 1, expected, status);
    }
  }
}

TEST(Utf8Encode, EverySizeOfLongTexts) {
  for (const std::int32_t value : {0xE9, 0x3042, 0x1F600}) {
    for (const std::size_t before : {0u, 3u, 61u}) {
      std::vector<std::int32_t> values(before, 'a');
      values.insert(values.end(), 70, value);
      values.insert(values.end(), 200, 'b');
      std::string whole;
      support::ReferenceEncode(values, std::string::npos, &whole);
      for (std::size_t size = 1; size <= whole.size() + 1; ++size) {
        std::string expected;
        const int status = support::ReferenceEncode(values, size, &expected);
        ExpectEncoded<wchar_t>(values, size, expected, status);
      }
    }
  }
}

TEST(Utf8Encode, AllCodePointsInOrder) {
  std::vector<std::int32_t> values;
  for (std::int32_t value = 1; value <= 0x10FFFF + 100; ++value) values.push_back(value);
  std::string expected;
  ASSERT_EQ(support::ReferenceEncode(values, std::string::npos, &expected), 2);
  const std::vector<wchar_t> units = Terminated<wchar_t>(values);
  for (const text::Utf8Path& path : text::Utf8Paths()) {
    std::vector<char> buffer(expected.size() + 1);
    EXPECT_EQ(text::EncodeUtf8(path, buffer.data(), units.data(), buffer.size()), 2) << path.name;
    EXPECT_TRUE(expected == buffer.data()) << path.name;
  }
}

TEST(Utf8Encode, AllUnitsInOrder) {
  std::vector<std::int32_t> values;
  for (std::int32_t value = 1; value <= 0xFFFF; ++value) values.push_back(value);
  std::string expected;
  ASSERT_EQ(support::ReferenceEncode(values, std::string::npos, &expected), 0);
  ExpectEncoded<unsigned short>(values, expected.size() + 1, expected, 0);
}

TEST(Utf8Encode, AnyNumbersAndSizes) {
  support::SeededText random(3);
  for (int i = support::SeededCases() / 4; i > 0 && !testing::Test::HasFailure(); --i) {
    const std::vector<std::int32_t> values = random.AnyNumbers();
    std::string expected;
    support::ReferenceEncode(values, std::string::npos, &expected);
    const std::size_t size = random.Below(2) != 0 ? expected.size() + 1 : 1 + random.Below(expected.size() + 41);
    const int status = support::ReferenceEncode(values, size, &expected);
    ExpectEncoded<wchar_t>(values, size, expected, status);
  }
}

TEST(Utf8Encode, AnyUnitsAndSizes) {
  support::SeededText random(4);
  for (int i = support::SeededCases() / 10; i > 0 && !testing::Test::HasFailure(); --i) {
    std::vector<std::int32_t> values = random.AnyNumbers();
    for (std::int32_t& value : values) value = (value & 0xFFFF) != 0 ? value & 0xFFFF : 0xD83D;
    std::string expected;
    const std::size_t size = 1 + random.Below(values.size() * 3 + 4);
    const int status = support::ReferenceEncode(values, size, &expected);
    ExpectEncoded<unsigned short>(values, size, expected, status);
  }
}

}  // namespace
