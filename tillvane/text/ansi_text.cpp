#include <cstring>
#include <memory>

#include <tillvane/platform/code_page.h>
#include <tillvane/text/LCharsets.h>
#include <tillvane/text/LStringUtilities.h>
#include <tillvane/text/unit_length.h>

namespace {

using Units = std::unique_ptr<unsigned short[]>;

void DecodeAnsi(unsigned short* dst, const char* src, unsigned long count) {
  platform::UnitsFromWindows1252(src, count, dst);
  dst[count] = 0;
}

/// \param dst room for `count` + 1
void EncodeAnsi(char* dst, const unsigned short* src, unsigned long count) {
  dst[platform::Iso88591FromUnits(src, count, dst)] = '\0';
}

}  // namespace

void LCopyUTF8FromAnsi(char* dst, const char* src, unsigned long size) {
  if (size == 0) return;
  const unsigned long most = size / sizeof(unsigned short);
  const unsigned long length = strnlen(src, most);
  // With its terminator it has to be below the most.
  if (length >= most) return LCopyUTF8FromUnicode(dst, szEmptyStringUTF16, size);
  const Units units = std::make_unique_for_overwrite<unsigned short[]>(length + 1);
  DecodeAnsi(units.get(), src, length);
  LCopyUTF8FromUnicode(dst, units.get(), size);
}

void LCopyAnsiFromUTF8(char* dst, const char* src, unsigned long size) {
  if (size == 0) return;
  // A byte is at most one unit, so that many are enough for what the bound lets through.
  const unsigned long most = strnlen(src, size - 1) + 1;
  const Units units = std::make_unique_for_overwrite<unsigned short[]>(most);
  LCopyUnicodeFromUTF8(units.get(), src, most);
  EncodeAnsi(dst, units.get(), lstrlen(units.get()));
}

unsigned long LCopyAnsiFromUnicode(LStringLong& target, const LStringLongTemplate<unsigned short>& source) {
  const unsigned long count = lstrlen(source.c_str());
  target.GrowToSize(count + 1);
  EncodeAnsi(target.data(), source.c_str(), count);
  target.SetLength(std::strlen(target.c_str()));
  return target.size();
}

unsigned long LCopyUnicodeFromAnsi(LStringLongTemplate<unsigned short>& target, const LStringLong& source) {
  const unsigned long count = std::strlen(source.c_str());
  target.GrowToSize(count + 1);
  DecodeAnsi(target.data(), source.c_str(), count);
  target.SetLength(count);
  return count;
}
