#include <algorithm>
#include <bit>
#include <cstring>

#include <tillvane/text/LCharsets.h>
#include <tillvane/text/LStringUtilities.h>
#include <tillvane/text/unit_length.h>
#include <tillvane/text/utf8_paths.h>
#include <tillvane/text/utf8_sequence.h>

const unsigned short szEmptyStringUTF16[1] = {};

namespace {

/// What callers with a buffer but without a size have room for.
constexpr unsigned long kFixedSize = 260;

/// Units to units of another width.
template <class To, class From>
void CopyUnits(To* dst, const From* src, unsigned long size) {
  if (size == 0) return;
  const unsigned long length = text::UnitLength(src, size - 1);
  std::transform(src, src + length, dst, [](From unit) { return static_cast<To>(unit); });
  dst[length] = 0;
}

unsigned long EncodedLength(const unsigned short* units, unsigned long count) {
  unsigned long length = 0;
  for (unsigned long i = 0; i < count; ++i) length += text::EncodedLength(units[i]);
  return length;
}

unsigned short BigEndian(unsigned short unit) {
  if (std::endian::native == std::endian::big) return unit;
  return static_cast<unsigned short>(unit << 8 | unit >> 8);
}

}  // namespace

void LCopyUTF32FromUnicode(wchar_t* dst, const unsigned short* src, unsigned long size) { CopyUnits(dst, src, size); }

void LCopyUnicodeFromUTF32(unsigned short* dst, const wchar_t* src, unsigned long size) { CopyUnits(dst, src, size); }

void LCopyUTF8FromUnicode(char* dst, const unsigned short* src, unsigned long size) {
  if (size == 0) return;
  text::EncodeUtf8(text::FastestUtf8Path(), dst, src, size);
  dst[size - 1] = '\0';
}

void LCopyUnicodeFromUTF8(unsigned short* dst, const char* src, unsigned long size) {
  text::DecodeUtf8(text::FastestUtf8Path(), dst, src, size);
}

void LCopyUTF8FromUnicode(char* dst, const unsigned short* src) { LCopyUTF8FromUnicode(dst, src, kFixedSize); }

void LCopyUnicodeFromUTF8(unsigned short* dst, const char* src) { LCopyUnicodeFromUTF8(dst, src, kFixedSize); }

unsigned long LCopyUTF8FromUnicode(LStringLong& target, const LStringLongTemplate<unsigned short>& source) {
  const unsigned short* const units = source.c_str();
  const unsigned long length = EncodedLength(units, lstrlen(units));
  target.GrowToSize(length + 1);
  LCopyUTF8FromUnicode(target.data(), units, length + 1);
  target.SetLength(length);
  return length;
}

unsigned long LCopyUnicodeFromUTF8(LStringLongTemplate<unsigned short>& target, const LStringLong& source) {
  const unsigned long size = std::strlen(source.c_str()) + 1;
  target.GrowToSize(size);
  LCopyUnicodeFromUTF8(target.data(), source.c_str(), size);
  target.SetLength(lstrlen(target.c_str()));
  return target.size();
}

void LCopyFromUnicode(LStringLong& target, const unsigned short* source) {
  target.SetLength(0);
  const unsigned long size = lstrlen(source) * 6 + 1;
  target.GrowToSize(size);
  LCopyUTF8FromUnicode(target.data(), source, size);
}

unsigned long LCopyToBigEndianUnicode(unsigned short* dst, const unsigned short* src, unsigned long count,
                                      bool terminate) {
  const unsigned long copied = text::UnitLength(src, count);
  std::transform(src, src + copied, dst, BigEndian);
  if (terminate) {
    dst[copied] = 0;
    return copied;
  }
  std::fill(dst + copied, dst + count, BigEndian(' '));
  return count;
}
