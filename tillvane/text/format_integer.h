#pragma once

#include <algorithm>
#include <cstddef>

#include <tillvane/text/digit_block.h>
#include <tillvane/text/format_conversion.h>

namespace text {

/// An int for `d i u x X o` and their synonyms. Its length is known before anything is written, so that it can be
/// written where it belongs.
class FormattedInteger {
 public:
  FormattedInteger(const FormatConversion& conversion, int value)
      : is_one_(conversion.is_simple && SetDigits(conversion.letter, value)) {
    if (head_.Count() == 0 && conversion.width <= 8 && !conversion.has_precision && !is_negative_) {
      length_ = std::max({conversion.width, tail_.Count(), 1u});
      padding_ = conversion.pads_with_zeros ? '0' : ' ';
      is_short_ = true;
    } else {
      PadAsAsked(conversion);
    }
  }

  /// False for another letter, and for digits that are not simple.
  bool IsOne() const { return is_one_; }
  unsigned int Length() const { return length_; }
  /// Writes Length() characters.
  void WriteTo(char* to) const {
    if (is_short_) return tail_.WritePaddedTo(to, length_, padding_);
    WriteLongTo(to);
  }

 private:
  unsigned int DigitCount() const { return head_.Count() != 0 ? head_.Count() + 8 : tail_.Count(); }
  void SetDecimal(unsigned int magnitude);
  bool SetDigits(char letter, int value);
  void PadAsAsked(const FormatConversion& conversion);
  void WriteLongTo(char* to) const;

  // What does not fit the last eight digits, and those.
  DigitBlock head_, tail_;
  bool is_negative_ = false;
  bool is_one_;
  bool is_short_ = false;
  char padding_ = ' ';
  unsigned int blanks_ = 0, zeros_ = 0, length_ = 0;
};

/// The longest int in decimal.
inline constexpr std::size_t kLongestDecimalInt = 11;

/// `%d` without digits, which is what most formats ask for. \return what follows the at most kLongestDecimalInt
/// characters
inline char* WriteDecimalInt(char* to, int value) {
  auto magnitude = static_cast<unsigned int>(value);
  if (value < 0) {
    *to++ = '-';
    magnitude = 0u - magnitude;
  }
  if (magnitude < 10) {
    *to = static_cast<char>('0' + magnitude);
    return to + 1;
  }
  constexpr unsigned int hundred_million = 100'000'000;
  if (magnitude < hundred_million) {
    const DigitBlock block = DigitBlock::Decimal(magnitude);
    block.WriteTo(to);
    return to + block.Count();
  }
  to = WriteDecimalInt(to, static_cast<int>(magnitude / hundred_million));
  DigitBlock::Decimal(magnitude % hundred_million).WriteAllTo(to);
  return to + 8;
}

}  // namespace text
