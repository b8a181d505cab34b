#include <algorithm>

#include <tillvane/text/format_conversion.h>

namespace text {

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Widths and precisions up to this leave room for a sign, all digits and an exponent in one conversion.
constexpr unsigned int kLargestSimple = 200;

/// The number that begins here, or something above kLargestSimple.
const char* ReadNumber(const char* digit, unsigned int* number) {
  unsigned int value = 0;
  for (; IsDigit(*digit); ++digit) {
    if (value <= kLargestSimple) value = value * 10 + static_cast<unsigned int>(*digit - '0');
  }
  *number = value;
  return digit;
}

}  // namespace

const char* FormatConversion::ReadDigits(const char* format) {
  pads_with_zeros = *format == '0';
  const char* next = ReadNumber(format, &width);
  if (*next == '.') {
    has_precision = true;
    next = ReadNumber(next + 1, &precision);
  }
  is_simple = *next != '.' && width <= kLargestSimple && precision <= kLargestSimple;
  while (IsDigit(*next) || *next == '.') ++next;
  const auto count = static_cast<std::size_t>(next - format);
  is_simple = is_simple && count <= kDigitsKept;
  digits = {format, std::min(count, kDigitsKept)};
  letter = *next;
  return letter == 0 ? next : next + 1;
}

}  // namespace text
