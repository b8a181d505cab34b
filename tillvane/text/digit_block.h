#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace text {

/// Up to eight digits, computed side by side in one register and stored at once: no byte of them has to be read again
/// while it is still on its way to memory. The first digit is in the lowest byte.
class DigitBlock {
 public:
  /// No digits.
  DigitBlock() = default;
  /// The last eight decimal digits. \param value below 10 ^ 8
  static DigitBlock Decimal(std::uint32_t value) {
    if (value < 10000) return ShortDecimal(value);
    // 10486 / 2 ^ 20 is a hundredth up to 9999, 103 / 2 ^ 10 a tenth up to 99.
    const std::uint64_t fours = value / 10000 | static_cast<std::uint64_t>(value % 10000) << 32;
    const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000007F0000007F;
    const std::uint64_t twos = hundreds | (fours - 100 * hundreds) << 16;
    const std::uint64_t tens = (twos * 103 >> 10) & 0x000F000F000F000F;
    return DigitBlock(tens | (twos - 10 * tens) << 8);
  }
  static DigitBlock Hexadecimal(std::uint32_t value, bool is_upper) {
    std::uint64_t spread = value;
    spread = (spread & 0xFFFF0000) >> 16 | (spread & 0xFFFF) << 32;
    spread = (spread & 0x0000FF000000FF00) >> 8 | (spread & 0x000000FF000000FF) << 16;
    spread = (spread & 0x00F000F000F000F0) >> 4 | (spread & 0x000F000F000F000F) << 8;
    DigitBlock block(spread);
    // Six more than ten to fifteen carries into the upper half of the byte.
    const std::uint64_t letters = (spread + 0x0606060606060606) >> 4 & kOnes;
    block.digits_ += letters * (is_upper ? 'A' - '0' - 10 : 'a' - '0' - 10);
    return block;
  }
  /// The last eight octal digits.
  static DigitBlock Octal(std::uint32_t value) {
    std::uint64_t digits = 0;
    for (int i = 0; i < 8; ++i, value >>= 3) digits = digits << 8 | (value & 7);
    return DigitBlock(digits);
  }

  /// Without the zeros in front; 0 has none.
  unsigned int Count() const { return count_; }

  /// Writes Count() digits.
  void WriteTo(char* to) const { Store(to, Text(8 - count_), count_); }
  /// Writes eight, with zeros in front.
  void WriteAllTo(char* to) const { Store(to, Text(0), 8); }
  /// Writes at least one and at most eight, and the padding in front of them in the same step.
  /// \param length from Count() to 8, not 0
  void WritePaddedTo(char* to, unsigned int length, char padding) const {
    const unsigned int shown = count_ != 0 ? count_ : 1;
    const std::uint64_t front = ~std::uint64_t{0} >> (8 * shown) % 64;
    const std::uint64_t digits = digits_ + '0' * kOnes;
    // Eight digits leave no place in front; the shift above would leave all of it.
    const std::uint64_t padded =
        shown == 8 ? digits : (digits & ~front) | (static_cast<unsigned char>(padding) * kOnes & front);
    Store(to, padded >> 8 * (8 - length), length);
  }

 private:
  static constexpr std::uint64_t kOnes = 0x0101010101010101;

  static DigitBlock ShortDecimal(std::uint32_t value) {
    const std::uint32_t twos = value / 100 | value % 100 << 16;
    const std::uint32_t tens = (twos * 103 >> 10) & 0x000F000F;
    return DigitBlock(static_cast<std::uint64_t>(tens | (twos - 10 * tens) << 8) << 32);
  }

  explicit DigitBlock(std::uint64_t digits)
      : digits_(digits), count_(digits == 0 ? 0 : 8 - static_cast<unsigned int>(std::countr_zero(digits)) / 8) {}

  std::uint64_t Text(unsigned int skipped) const { return (digits_ + '0' * kOnes) >> (8 * skipped % 64); }

  template <class Block>
  static void StoreBytes(char* to, std::uint64_t bytes) {
    static_assert(std::endian::native == std::endian::little);
    const auto block = static_cast<Block>(bytes);
    std::memcpy(to, &block, sizeof block);
  }

  static void Store(char* to, std::uint64_t text, unsigned int count) {
    if (count == 8) {
      StoreBytes<std::uint64_t>(to, text);
    } else if (count >= 4) {
      StoreBytes<std::uint32_t>(to, text);
      StoreBytes<std::uint32_t>(to + count - 4, text >> (8 * (count - 4)));
    } else if (count >= 2) {
      StoreBytes<std::uint16_t>(to, text);
      StoreBytes<std::uint16_t>(to + count - 2, text >> (8 * (count - 2)));
    } else if (count == 1) {
      *to = static_cast<char>(text);
    }
  }

  std::uint64_t digits_ = 0;
  unsigned int count_ = 0;
};

}  // namespace text
