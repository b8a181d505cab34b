#include <tillvane/text/format_digits.h>
#include <tillvane/text/format_integer.h>

namespace text {

bool FormattedInteger::SetDigits(char letter, int value) {
  const auto bits = static_cast<unsigned int>(value);
  switch (letter) {
    case 'd':
    case 'i':
    case 'D':
      is_negative_ = value < 0;
      SetDecimal(value < 0 ? 0u - bits : bits);
      return true;
    case 'u':
    case 'U':
      SetDecimal(bits);
      return true;
    case 'o':
    case 'O':
      head_ = DigitBlock::Octal(bits >> 24);
      tail_ = DigitBlock::Octal(bits);
      return true;
    case 'x':
    case 'X':
      tail_ = DigitBlock::Hexadecimal(bits, letter == 'X');
      return true;
    default:
      return false;
  }
}

void FormattedInteger::SetDecimal(unsigned int magnitude) {
  constexpr unsigned int hundred_million = 100'000'000;
  if (magnitude >= hundred_million) {
    head_ = DigitBlock::Decimal(magnitude / hundred_million);
    magnitude %= hundred_million;
  }
  tail_ = DigitBlock::Decimal(magnitude);
}

void FormattedInteger::PadAsAsked(const FormatConversion& conversion) {
  const unsigned int digits = DigitCount();
  const unsigned int least = conversion.has_precision ? conversion.precision : 1;
  if (least > digits) zeros_ = least - digits;
  length_ = (is_negative_ ? 1 : 0) + zeros_ + digits;
  if (conversion.width <= length_) return;
  // A precision says how many digits there are; then '0' is no padding.
  const bool pads_with_zeros = conversion.pads_with_zeros && !conversion.has_precision;
  (pads_with_zeros ? zeros_ : blanks_) += conversion.width - length_;
  length_ = conversion.width;
}

void FormattedInteger::WriteLongTo(char* to) const {
  if (blanks_ != 0) to = Pad(to, ' ', blanks_);
  if (is_negative_) *to++ = '-';
  if (zeros_ != 0) to = Pad(to, '0', zeros_);
  if (head_.Count() == 0) return tail_.WriteTo(to);
  head_.WriteTo(to);
  tail_.WriteAllTo(to + head_.Count());
}

}  // namespace text
