#pragma once

#include <cstddef>
#include <cstdio>
#include <string_view>

namespace text {

/// One conversion gives at most one character less than this.
inline constexpr std::size_t kFormatScratchSize = 260;

/// What stands between '%' and the letter, and the letter.
struct FormatConversion {
  /// So many of the digits and points are kept; what follows them is read and dropped.
  static constexpr std::size_t kDigitsKept = 257;

  std::string_view digits;  ///< digits and points, at most kDigitsKept
  char letter = 0;
  /// The digits are a width, a point and a precision, each of which may be missing, and what they ask for fits.
  bool is_simple = true;
  // What they mean then.
  bool pads_with_zeros = false;
  bool has_precision = false;
  unsigned int width = 0;
  unsigned int precision = 0;

  /// Reads a conversion. \param format the character after its '%' \return what follows its letter, or the format's end
  const char* Read(const char* format) {
    if ((*format >= '0' && *format <= '9') || *format == '.') return ReadDigits(format);
    letter = *format;
    return letter == 0 ? format : format + 1;
  }

 private:
  const char* ReadDigits(const char* format);
};

/// Hands one conversion to the C library, as it stands but with this letter. What does not fit is cut.
/// \param scratch kFormatScratchSize characters, to which the result may point
template <class T>
std::string_view AskLibrary(const FormatConversion& conversion, char letter, T value, char* scratch) {
  char format[1 + FormatConversion::kDigitsKept + 2] = "%";
  conversion.digits.copy(format + 1, conversion.digits.size());
  format[1 + conversion.digits.size()] = letter;
  format[2 + conversion.digits.size()] = 0;
  scratch[0] = 0;
  const int length = std::snprintf(scratch, kFormatScratchSize, format, value);
  // It is written like a text: up to its first 0. Of a conversion that failed nothing is.
  return length < 0 ? std::string_view() : std::string_view(scratch);
}

}  // namespace text
