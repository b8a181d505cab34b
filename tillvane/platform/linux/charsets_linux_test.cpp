#include <gtest/gtest.h>
#include <iconv.h>
#include <unicode/ustring.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <string>
#include <vector>

#include <tillvane/text/LCharsets.h>

#include <tests/support/seeded_text.h>

/// \file
/// The conversions beside ICU's and the C library's. Where they differ a test names the rule and holds both to it.

namespace {

using support::Hex;

class Iconv {
 public:
  Iconv(const char* to, const char* from) : descriptor_(iconv_open(to, from)) {}
  ~Iconv() { iconv_close(descriptor_); }
  Iconv(const Iconv&) = delete;
  Iconv& operator=(const Iconv&) = delete;

  /// \return did it take all of it?
  bool Convert(const void* source, std::size_t bytes, std::string* target) {
    char* from = const_cast<char*>(static_cast<const char*>(source));
    target->resize(bytes * 4 + 16);
    char* to = target->data();
    std::size_t room = target->size();
    const bool is_all = iconv(descriptor_, &from, &bytes, &to, &room) == 0;
    iconv(descriptor_, nullptr, nullptr, nullptr, nullptr);
    target->resize(target->size() - room);
    return is_all;
  }

 private:
  iconv_t descriptor_;
};

std::wstring AsWide(const std::string& bytes) {
  std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
  bytes.copy(reinterpret_cast<char*>(text.data()), text.size() * sizeof(wchar_t));
  return text;
}

/// ICU's code points up to the first sequence that it takes for wrong.
std::wstring BeforeTheFirstError(const std::string& text) {
  std::wstring before;
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const auto size = static_cast<std::int32_t>(text.size());
  for (std::int32_t at = 0; at < size;) {
    UChar32 point;
    U8_NEXT(bytes, at, size, point);
    if (point < 0) break;
    before += static_cast<wchar_t>(point);
  }
  return before;
}

bool IcuDecodes(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  UChar units[512];
  u_strFromUTF8(units, 512, nullptr, text.data(), static_cast<std::int32_t>(text.size()), &status);
  return U_SUCCESS(status);
}

/// ICU refuses a wrong text as a whole. What comes before the first wrong sequence is the same, and so are the texts
/// that are wrong.
TEST(CharsetsBesideIcu, Decoding) {
  support::SeededText random(11);
  std::vector<wchar_t> wide;
  for (int i = support::SeededCases(); i > 0 && !testing::Test::HasFailure(); --i) {
    const std::string text = random.Below(4) != 0 ? random.BrokenUtf8() : random.LegalUtf8();
    wide.resize(text.size() + 8);
    const int status = LCopyUTF32FromUTF8(wide.data(), text.c_str(), wide.size());
    EXPECT_EQ(status == 0, IcuDecodes(text)) << status << ": " << Hex(text);
    EXPECT_TRUE(BeforeTheFirstError(text) == wide.data()) << Hex(text);
  }
}

/// The C library also stops at the first wrong sequence, but knows numbers above U+10FFFF.
TEST(CharsetsBesideIconv, Decoding) {
  support::SeededText random(12);
  Iconv iconv("WCHAR_T", "UTF-8");
  std::vector<wchar_t> wide;
  std::string converted;
  for (int i = support::SeededCases(); i > 0 && !testing::Test::HasFailure(); --i) {
    const std::string text = random.Below(4) != 0 ? random.BrokenUtf8() : random.LegalUtf8();
    wide.resize(text.size() + 8);
    const int status = LCopyUTF32FromUTF8(wide.data(), text.c_str(), wide.size());
    const bool is_all = iconv.Convert(text.data(), text.size(), &converted);
    const std::wstring points = AsWide(converted);
    const auto beyond = std::find_if(points.begin(), points.end(), [](wchar_t point) { return point > 0x10FFFF; });
    EXPECT_EQ(status == 0, is_all && beyond == points.end()) << status << ": " << Hex(text);
    EXPECT_TRUE(std::wstring(points.begin(), beyond) == wide.data()) << Hex(text);
  }
}

bool IsOdd(std::int32_t value) { return value < 0 || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF); }

/// What stands for a value that is no character: its low bits, U+FFFD, or a surrogate's three bytes.
std::string Odd(std::int32_t value) {
  if (value < 0) return std::string(1, static_cast<char>(value));
  if (value > 0x10FFFF) return "\uFFFD";
  return {static_cast<char>(0xED), static_cast<char>(0x80 | (value >> 6 & 0x3F)),
          static_cast<char>(0x80 | (value & 0x3F))};
}

bool IcuEncodes(const std::vector<std::int32_t>& values, std::size_t begin, std::size_t end, std::string* text) {
  UErrorCode status = U_ZERO_ERROR;
  UChar units[512];
  char bytes[1024];
  std::int32_t length = 0;
  u_strFromUTF32(units, 512, &length, values.data() + begin, static_cast<std::int32_t>(end - begin), &status);
  u_strToUTF8(bytes, 1024, &length, units, length, &status);
  if (U_SUCCESS(status)) text->append(bytes, static_cast<std::size_t>(length));
  return U_SUCCESS(status);
}

/// Compares with what a peer makes of the characters and with what stands for all other values, which the peer refuses.
/// \param most the largest number that it converts
/// \param encode converts values from one index to another, appends, and answers whether it could
template <class Encode>
void ExpectEncodedAs(const std::vector<std::int32_t>& values, std::int32_t most, Encode encode) {
  std::string expected;
  std::string refused;
  bool is_replaced = false;
  for (std::size_t at = 0; at < values.size();) {
    const std::size_t run = static_cast<std::size_t>(
        std::find_if(values.begin() + static_cast<long>(at), values.end(), IsOdd) - values.begin());
    EXPECT_TRUE(encode(at, run, &expected));
    at = run;
    if (at == values.size()) break;
    EXPECT_EQ(encode(at, at + 1, &refused), values[at] > 0x10FFFF && values[at] <= most) << values[at];
    is_replaced |= values[at] > 0x10FFFF;
    expected += Odd(values[at++]);
  }
  std::vector<wchar_t> wide(values.begin(), values.end());
  wide.push_back(0);
  std::string text(expected.size() + 1, 'x');
  EXPECT_EQ(LCopyUTF8FromUTF32(text.data(), wide.data(), text.size()), is_replaced ? 2 : 0) << Hex(expected);
  EXPECT_TRUE(text == expected + '\0') << Hex(text) << "not " << Hex(expected);
}

TEST(CharsetsBesideIcu, Encoding) {
  support::SeededText random(13);
  for (int i = support::SeededCases(); i > 0 && !testing::Test::HasFailure(); --i) {
    const std::vector<std::int32_t> values = random.Below(2) != 0 ? random.AnyNumbers() : random.CodePoints();
    ExpectEncodedAs(values, 0x10FFFF, [&](std::size_t begin, std::size_t end, std::string* text) {
      return IcuEncodes(values, begin, end, text);
    });
  }
}

/// The C library writes numbers above U+10FFFF.
TEST(CharsetsBesideIconv, Encoding) {
  support::SeededText random(14);
  Iconv iconv("UTF-8", "WCHAR_T");
  std::string converted;
  for (int i = support::SeededCases(); i > 0 && !testing::Test::HasFailure(); --i) {
    const std::vector<std::int32_t> values = random.Below(2) != 0 ? random.AnyNumbers() : random.CodePoints();
    ExpectEncodedAs(values, 0x7FFFFFFF, [&](std::size_t begin, std::size_t end, std::string* text) {
      const bool is_all = iconv.Convert(values.data() + begin, (end - begin) * sizeof(std::int32_t), &converted);
      *text += converted;
      return is_all;
    });
  }
}

}  // namespace
