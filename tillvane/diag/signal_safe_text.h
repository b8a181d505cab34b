#pragma once

#include <cstddef>

namespace diag {

/// Text that a signal handler makes, in a buffer of its own: always terminated, and what does not fit is cut. It needs
/// nothing of the C library.
template <std::size_t kSize>
class SignalSafeText {
 public:
  SignalSafeText() { text_[0] = '\0'; }

  const char* Get() const { return text_; }
  std::size_t Length() const { return length_; }

  /// A text of `most` bytes at most, which need not be terminated then.
  SignalSafeText& Add(const char* text, std::size_t most = kSize) {
    for (std::size_t i = 0; i < most && text[i] != '\0'; ++i) Add(text[i]);
    return *this;
  }

  SignalSafeText& Add(char c) {
    if (length_ + 1 < kSize) text_[length_++] = c;
    text_[length_] = '\0';
    return *this;
  }

  SignalSafeText& AddDecimal(long long number) {
    if (number < 0) Add('-');
    // The lowest number has no positive counterpart.
    const auto size = static_cast<unsigned long long>(number);
    return AddDigits(number < 0 ? 0 - size : size, 10);
  }

  /// With "0x" before it.
  SignalSafeText& AddAddress(unsigned long long number) { return Add("0x").AddDigits(number, 16); }

  /// Bytes, two digits each.
  SignalSafeText& AddBytes(const unsigned char* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) Add(kDigits[bytes[i] >> 4]).Add(kDigits[bytes[i] & 15]);
    return *this;
  }

 private:
  static constexpr char kDigits[] = "0123456789abcdef";

  SignalSafeText& AddDigits(unsigned long long number, unsigned int base) {
    char digits[20];
    std::size_t count = 0;
    do {
      digits[count++] = kDigits[number % base];
      number /= base;
    } while (number != 0);
    while (count > 0) Add(digits[--count]);
    return *this;
  }

  char text_[kSize];
  std::size_t length_ = 0;
};

}  // namespace diag
