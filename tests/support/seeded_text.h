#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <tests/support/seeded.h>
#include <tests/support/utf8_reference.h>

/// \file
/// Texts made up from a seed.

namespace support {

/// Bytes as a failure shows them.
inline std::string Hex(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto number = static_cast<unsigned char>(byte);
    text += {digits[number >> 4], digits[number & 15], ' '};
  }
  return text;
}

class SeededText : public Seeded {
 public:
  using Seeded::Seeded;

  /// Mostly short; some are long enough for what takes many bytes at once.
  std::size_t Length() { return Below(16) != 0 ? Below(17) : Below(181); }

  /// Code points as UTF-8 may hold them, none of them 0, in runs of the same length.
  std::vector<std::int32_t> CodePoints() {
    std::vector<std::int32_t> values;
    for (std::size_t left = Length(); left > 0;) {
      const std::size_t run = std::min<std::size_t>(left, Below(4) != 0 ? 1 + Below(4) : 1 + Below(71));
      const unsigned int length = 1 + Below(4);
      for (std::size_t i = 0; i < run; ++i) values.push_back(CodePoint(length));
      left -= run;
    }
    return values;
  }

  std::string LegalUtf8() {
    std::string text;
    ReferenceEncode(CodePoints(), std::string::npos, &text);
    return text;
  }

  /// Good text with some bytes that are changed, put in or taken out; none is 0.
  std::string BrokenUtf8() {
    std::string text = LegalUtf8();
    for (std::size_t changes = Below(3) + 1; changes > 0; --changes) {
      const std::size_t at = Below(text.size() + 1);
      switch (Below(3)) {
        case 0:
          text.insert(at, 1, AnyByte());
          break;
        case 1:
          if (at < text.size()) text.erase(at, 1);
          break;
        default:
          if (at < text.size()) text[at] = AnyByte();
      }
    }
    return text;
  }

  /// Any numbers but 0, many of them near a bound.
  std::vector<std::int32_t> AnyNumbers() {
    std::vector<std::int32_t> values = CodePoints();
    for (std::size_t changes = values.empty() ? 0 : Below(3); changes > 0; --changes) {
      values[Below(values.size())] = AnyNumber();
    }
    return values;
  }

 private:
  std::int32_t CodePoint(unsigned int length) {
    constexpr std::int32_t least[] = {0, 1, 0x80, 0x800, 0x10000, 0x110000};
    const std::int32_t first = least[length];
    const auto value =
        first + static_cast<std::int32_t>(Below(static_cast<std::size_t>(least[length + 1] - first - 1) + 1));
    return value >= 0xD800 && value <= 0xDFFF ? 0x3042 : value;
  }

  /// A byte that begins something, or goes on with it, more often than any other.
  char AnyByte() {
    constexpr std::string_view likely =
        "\x80\xBF\xC0\xC1\xC3\xDF\xE0\xE3\xED\xEF\xF0\xF4\xF5\xF8\xFC\xFF"
        "a";
    return Below(2) != 0 ? likely[Below(likely.size())] : static_cast<char>(1 + Below(255));
  }

  std::int32_t AnyNumber() {
    constexpr std::int32_t bounds[] = {0x80, 0x800, 0xD800, 0xDC00, 0xE000, 0x10000, 0x110000, 0x7FFFFFFF, -1, -0x80};
    const std::int32_t value = bounds[Below(std::size(bounds))];
    return Below(2) != 0 ? value : Below(2) != 0 ? value - 1 : static_cast<std::int32_t>(Bits() | 1);
  }
};

}  // namespace support
