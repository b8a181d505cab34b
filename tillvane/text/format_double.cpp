#include <fenv.h>
#include <langinfo.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <system_error>

#include <tillvane/text/format_digits.h>
#include <tillvane/text/format_double.h>

namespace text {

namespace {

/// What the C library's numbers depend on, where it is what it nearly always is.
bool IsPlainEnvironment(char* decimal_point) {
  const char* const radix = nl_langinfo(RADIXCHAR);
  *decimal_point = radix[0];
  return radix[0] != 0 && radix[1] == 0 && fegetround() == FE_TONEAREST;
}

/// A finite double: its magnitude is significand * 2 ^ exponent.
struct DoubleParts {
  explicit DoubleParts(double value) {
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const auto biased = static_cast<int>(bits >> 52 & 0x7FF);
    is_negative = bits >> 63 != 0;
    significand = (bits & ((1ull << 52) - 1)) | (biased != 0 ? 1ull << 52 : 0);
    exponent = std::max(biased, 1) - 1075;
  }
  bool is_negative;
  std::uint64_t significand;
  int exponent;
};

constexpr std::uint64_t kPowersOfTen[] = {1,
                                          10,
                                          100,
                                          1000,
                                          10000,
                                          100000,
                                          1000000,
                                          10000000,
                                          100000000,
                                          1000000000,
                                          10000000000,
                                          100000000000,
                                          1000000000000,
                                          10000000000000,
                                          100000000000000,
                                          1000000000000000,
                                          10000000000000000,
                                          100000000000000000};

#if defined(__SIZEOF_INT128__)

/// More than the 110 bits of a double's significand times 10 ^ 17.
__extension__ using Wide = unsigned __int128;

/// A magnitude times 10 ^ decimals, rounded half to even. \return false where it is too large for this way
bool Scale(const DoubleParts& parts, unsigned int decimals, std::uint64_t* scaled) {
  // Exact: 53 bits times at most 57.
  const Wide product = static_cast<Wide>(parts.significand) * kPowersOfTen[decimals];
  if (parts.exponent > 0) return false;
  const int shift = -parts.exponent;
  if (shift == 0 || shift > 120) {
    // Whole already, or less than half of the last decimal.
    *scaled = shift == 0 ? static_cast<std::uint64_t>(product) : 0;
    return shift != 0 || product >> 64 == 0;
  }
  const Wide whole = product >> shift;
  if (whole >> 63 != 0) return false;
  const Wide rest = product - (whole << shift);
  const Wide half = static_cast<Wide>(1) << (shift - 1);
  const bool rounds_up = rest > half || (rest == half && (whole & 1) != 0);
  *scaled = static_cast<std::uint64_t>(whole) + (rounds_up ? 1 : 0);
  return true;
}

#else

/// This way needs wider numbers than 32-bit processors have.
bool Scale(const DoubleParts&, unsigned int, std::uint64_t*) { return false; }

#endif

/// The sign and what the width asks for. \param digits right-aligned in the scratch, or with a free place before them
std::string_view Finish(const FormatConversion& conversion, bool is_negative, char* digits, std::size_t count,
                        char* scratch) {
  const std::size_t length = count + (is_negative ? 1 : 0);
  if (conversion.width <= length) {
    if (is_negative) *--digits = '-';
    return {digits, length};
  }
  const std::size_t missing = conversion.width - length;
  char* const end = scratch + conversion.width;
  std::memmove(end - count, digits, count);
  char* next = scratch;
  if (!conversion.pads_with_zeros) next = Pad(next, ' ', missing);
  if (is_negative) *next++ = '-';
  if (conversion.pads_with_zeros) Pad(next, '0', missing);
  return {scratch, conversion.width};
}

/// `%f` of a number of up to 19 digits. \return nothing where there are more
std::string_view FormatFixed(const FormatConversion& conversion, const DoubleParts& parts, unsigned int decimals,
                             char decimal_point, char* scratch) {
  std::uint64_t scaled;
  if (decimals >= std::size(kPowersOfTen) || !Scale(parts, decimals, &scaled)) return {};
  char* const end = scratch + kFormatScratchSize;
  char* digits = end;
  const std::uint64_t whole = scaled / kPowersOfTen[decimals];
  if (decimals != 0) {
    digits = WriteDecimal(scaled - whole * kPowersOfTen[decimals], end);
    while (digits != end - decimals) *--digits = '0';
    *--digits = decimal_point;
  }
  digits = WriteDecimal(whole, digits);
  if (whole == 0) *--digits = '0';
  return Finish(conversion, parts.is_negative, digits, static_cast<std::size_t>(end - digits), scratch);
}

/// Any number by the standard library's exact conversion. \return nothing where there is none, or the text is too long
std::string_view FormatExact([[maybe_unused]] const FormatConversion& conversion, [[maybe_unused]] double value,
                             [[maybe_unused]] unsigned int decimals, [[maybe_unused]] char decimal_point,
                             [[maybe_unused]] char* scratch) {
#if defined(__cpp_lib_to_chars)
  const auto format = conversion.letter == 'f'   ? std::chars_format::fixed
                      : conversion.letter == 'e' ? std::chars_format::scientific
                                                 : std::chars_format::general;
  char* const digits = scratch + 1;
  const auto [end, error] =
      std::to_chars(digits, scratch + kFormatScratchSize - 1, std::fabs(value), format, static_cast<int>(decimals));
  if (error != std::errc()) return {};
  std::replace(digits, end, '.', decimal_point);
  return Finish(conversion, std::signbit(value), digits, static_cast<std::size_t>(end - digits), scratch);
#else
  return {};
#endif
}

}  // namespace

std::string_view FormatDouble(const FormatConversion& conversion, double value, char* scratch) {
  char decimal_point;
  if (conversion.is_simple && std::isfinite(value) && IsPlainEnvironment(&decimal_point)) {
    const unsigned int decimals = conversion.has_precision ? conversion.precision : 6;
    std::string_view text;
    if (conversion.letter == 'f') text = FormatFixed(conversion, DoubleParts(value), decimals, decimal_point, scratch);
    if (text.empty()) text = FormatExact(conversion, value, decimals, decimal_point, scratch);
    if (!text.empty()) return text;
  }
  return AskLibrary(conversion, conversion.letter, value, scratch);
}

}  // namespace text
