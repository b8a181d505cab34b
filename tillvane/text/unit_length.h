#pragma once

#include <cwchar>

namespace text {

/// Units before the 0 unit, of which at most `most` are looked for.
inline unsigned long UnitLength(const wchar_t* text, unsigned long most) { return wcsnlen(text, most); }

inline unsigned long UnitLength(const unsigned short* text, unsigned long most) {
  unsigned long length = 0;
  // Eight in a pass, of which the compiler makes no loop: twice as fast.
  for (; most - length >= 8; length += 8) {
    for (unsigned long i = 0; i < 8; ++i) {
      if (text[length + i] == 0) return length + i;
    }
  }
  while (length < most && text[length] != 0) ++length;
  return length;
}

}  // namespace text
