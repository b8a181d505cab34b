#pragma once

#include <algorithm>
#include <string>

#include <tillvane/text/LStringLong.h>
#include <tillvane/text/LStringUtilities.h>

/// \file
/// 16-bit units as the literals of a test.

namespace support {

using Units = LStringLongTemplate<unsigned short>;

inline const unsigned short* AsUnits(const char16_t* text) { return reinterpret_cast<const unsigned short*>(text); }

inline std::u16string AsText(const unsigned short* units) { return std::u16string(units, units + lstrlen(units)); }

inline void Fill(Units& target, const std::u16string& text) {
  target.GrowToSize(text.size() + 1);
  std::copy(text.begin(), text.end(), target.data());
  target.SetLength(text.size());
}

}  // namespace support
