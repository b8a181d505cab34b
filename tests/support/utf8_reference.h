#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// UTF-8 done one step after the other, as plainly as it can be said: what faster ways are compared with. Texts have no
/// terminator here; a byte behind the end is 0.

namespace support {

struct Utf8Answer {
  std::u32string text;
  int status;
  bool operator==(const Utf8Answer&) const = default;
};

class Utf8Reference {
 public:
  explicit Utf8Reference(std::string_view text) : text_(text) {}

  static unsigned int LengthByLead(unsigned int lead) {
    return lead < 0xC0 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : lead < 0xFC ? 5 : 6;
  }

  /// \param size more than the bytes of what is converted
  Utf8Answer Decode(std::size_t size) const {
    Utf8Answer answer{{}, 0};
    for (std::size_t at = 0, count = 0;;) {
      if (At(at) == 0) return answer;
      const unsigned int length = LengthByLead(At(at));
      count += length;
      if (count >= size) return {answer.text, 1};
      if (length > 4 || !IsLegal(at, length)) return {answer.text, 2};
      answer.text += Value(at, length, &answer.status);
      at += length;
    }
  }

  /// Where each sequence begins.
  std::vector<std::size_t> Beginnings() const {
    std::vector<std::size_t> beginnings;
    for (std::size_t at = 0; at < text_.size(); at += LengthByLead(At(at))) beginnings.push_back(at);
    return beginnings;
  }

  std::size_t CharToByte(std::size_t index) const {
    const std::vector<std::size_t> beginnings = Beginnings();
    return index < beginnings.size() ? beginnings[index] : text_.size();
  }

  std::size_t ByteToChar(std::size_t index) const {
    const std::vector<std::size_t> beginnings = Beginnings();
    return static_cast<std::size_t>(
        std::count_if(beginnings.begin(), beginnings.end(), [=](std::size_t at) { return at < index; }));
  }

  /// What fits in `size` bytes with a terminator.
  std::string Cut(std::size_t size) const {
    std::size_t copied = 0;
    for (const std::size_t at : Beginnings()) {
      if (at + LengthByLead(At(at)) > (size == 0 ? 0 : size - 1)) break;
      copied = std::min(at + LengthByLead(At(at)), text_.size());
    }
    return std::string(text_.substr(0, copied));
  }

 private:
  unsigned int At(std::size_t index) const {
    return index < text_.size() ? static_cast<unsigned char>(text_[index]) : 0;
  }

  bool IsLegal(std::size_t at, unsigned int length) const {
    for (unsigned int i = 1; i < length; ++i) {
      if (At(at + i) < 0x80 || At(at + i) > 0xBF) return false;
    }
    const unsigned int lead = At(at);
    const unsigned int second = At(at + 1);
    if (lead == 0xE0 && second < 0xA0) return false;
    if (lead == 0xED && second > 0x9F) return false;
    if (lead == 0xF0 && second < 0x90) return false;
    if (lead == 0xF4 && second > 0x8F) return false;
    return !(lead >= 0x80 && lead <= 0xC1) && lead <= 0xF4;
  }

  char32_t Value(std::size_t at, unsigned int length, int* status) const {
    constexpr std::uint32_t offsets[] = {0x00000000, 0x00003080, 0x000E2080, 0x03C82080, 0xFA082080, 0x82082080};
    std::uint32_t value = 0;
    for (unsigned int i = 0; i < length; ++i) value = (value << 6) + At(at + i);
    value -= offsets[length - 1];
    if (value > 0x10FFFF) *status = 2;
    return value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF) ? U'\xFFFD' : static_cast<char32_t>(value);
  }

  std::string_view text_;
};

/// \param size of the destination, with the terminator
inline int ReferenceEncode(const std::vector<std::int32_t>& values, std::size_t size, std::string* text) {
  int status = 0;
  text->clear();
  for (const std::int32_t value : values) {
    std::string bytes;
    const auto put = [&](std::int32_t byte) { bytes += static_cast<char>(byte); };
    if (value <= 0x7F) {
      put(value);
    } else if (value <= 0x7FF) {
      put(0xC0 | value >> 6), put(0x80 | (value & 0x3F));
    } else if (value <= 0xFFFF) {
      put(0xE0 | value >> 12), put(0x80 | (value >> 6 & 0x3F)), put(0x80 | (value & 0x3F));
    } else if (value < 0x110000) {
      put(0xF0 | value >> 18), put(0x80 | (value >> 12 & 0x3F));
      put(0x80 | (value >> 6 & 0x3F)), put(0x80 | (value & 0x3F));
    } else {
      bytes = "\xEF\xBF\xBD";
    }
    if (text->size() + bytes.size() >= size) return 1;
    if (value >= 0x110000) status = 2;
    *text += bytes;
  }
  return status;
}

}  // namespace support
