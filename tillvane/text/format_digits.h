#pragma once

#include <cstddef>
#include <cstring>

#include <tillvane/text/copy_short.h>

namespace text {

/// Writes a number backwards from `end`, and nothing for 0. \return its first digit
template <class Number>
inline char* WriteDecimal(Number value, char* end) {
  static constexpr char pairs[] =
      "0001020304050607080910111213141516171819202122232425262728293031323334353637383940414243444546474849"
      "5051525354555657585960616263646566676869707172737475767778798081828384858687888990919293949596979899";
  for (; value >= 10; value /= 100) {
    end -= 2;
    std::memcpy(end, pairs + 2 * (value % 100), 2);
  }
  if (value != 0) *--end = static_cast<char>('0' + value);
  return end;
}

/// Writes so many blanks or zeros. \return what follows them
inline char* Pad(char* to, char c, std::size_t count) {
  static constexpr char blanks[] = "                                ";
  static constexpr char zeros[] = "00000000000000000000000000000000";
  if (count < sizeof blanks) {
    CopyShort(to, c == ' ' ? blanks : zeros, count);
  } else {
    std::memset(to, c, count);
  }
  return to + count;
}

}  // namespace text
