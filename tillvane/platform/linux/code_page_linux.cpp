#include <tillvane/platform/code_page.h>

#include <algorithm>

namespace platform {

namespace {

/// Windows-1252 from 0x80 to 0x9F; the rest is ISO-8859-1, whose bytes are the code points' numbers.
constexpr unsigned short kWindows1252[] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

unsigned short UnitFromByte(char text) {
  const auto byte = static_cast<unsigned char>(text);
  return byte >= 0x80 && byte <= 0x9F ? kWindows1252[byte - 0x80] : byte;
}

}  // namespace

void UnitsFromWindows1252(const char* text, std::size_t count, unsigned short* units) {
  std::transform(text, text + count, units, UnitFromByte);
}

std::size_t Iso88591FromUnits(const unsigned short* units, std::size_t count, char* text) {
  if (std::any_of(units, units + count, [](unsigned short unit) { return unit > 0xFF; })) return 0;
  std::transform(units, units + count, text, [](unsigned short unit) { return static_cast<char>(unit); });
  return count;
}

}  // namespace platform
