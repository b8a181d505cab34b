#include <iconv.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

#include <tillvane/text/LCharsets.h>

namespace {

constexpr char kUtf8[] = "UTF-8";
constexpr char kIso88591[] = "ISO-8859-1";

/// Converts with one call of iconv; what it thinks of the text shows in how far it came.
/// \return bytes written
unsigned long Convert(char* dst, const char* src, unsigned long size, const char* tocode, const char* fromcode) {
  const iconv_t descriptor = iconv_open(tocode, fromcode);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): this is how iconv says it
  if (descriptor == reinterpret_cast<iconv_t>(-1)) return 0;
  // iconv does not write to its source.
  char* from = const_cast<char*>(src);
  char* to = dst;
  std::size_t source_left = std::strlen(src) + 1;
  std::size_t room_left = size;
  iconv(descriptor, &from, &source_left, &to, &room_left);
  iconv_close(descriptor);
  return static_cast<unsigned long>(to - dst);
}

unsigned long CopyBytes(char* dst, const char* src, unsigned long size) {
  const unsigned long length = std::strlen(src);
  if (size != 0) {
    const unsigned long copied = std::min(length, size - 1);
    std::memcpy(dst, src, copied);
    dst[copied] = '\0';
  }
  return length;
}

bool LiesIn(const LStringLong& text, const char* pointer) {
  const std::less<> before;
  return text.capacity() != 0 && !before(pointer, text.c_str()) && before(pointer, text.c_str() + text.capacity());
}

/// Makes room for so many bytes for each one of the source, and converts into it.
/// \return what `convert` answers
template <class F>
auto IntoText(LStringLong& target, const char* src, unsigned long bytes_each, F convert) {
  // The text's own bytes would go with its buffer.
  std::string copy;
  if (LiesIn(target, src)) src = (copy = src).c_str();
  const unsigned long size = std::strlen(src) * bytes_each + 1;
  target.GrowToSize(size);
  return convert(target.data(), src, size);
}

// What a character of one byte takes: in 8 bits, and the most that room is made for in UTF-8.
constexpr unsigned long kIn8Bit = 1;
constexpr unsigned long kInUtf8 = 6;

using SizedCopy = void (*)(char*, const char*, unsigned long);
using SizedByteCopy = unsigned long (*)(char*, const char*, unsigned long);

}  // namespace

template <class To, class From>
void LCopyIconvFixedLength(To* dst, const From* src, unsigned long size, const char* tocode, const char* fromcode) {
  if (size == 0) return;
  const unsigned long written = Convert(dst, src, size, tocode, fromcode);
  if (written < size) dst[written] = '\0';
}

template <class To, class From>
void LCopyIconvFixedLength(To* dst, const From* src, const char* tocode, const char* fromcode) {
  dst[0] = '\0';
  Convert(dst, src, std::strlen(src) + 1, tocode, fromcode);
}

template void LCopyIconvFixedLength<char, char>(char*, const char*, unsigned long, const char*, const char*);
template void LCopyIconvFixedLength<char, char>(char*, const char*, const char*, const char*);

void LCopyToWIN1252(char* dst, const char* src, unsigned long size) { LCopyToISO88591(dst, src, size); }
void LCopyFromWIN1252(char* dst, const char* src, unsigned long size) { LCopyFromISO88591(dst, src, size); }

void LCopyToISO88591(char* dst, const char* src, unsigned long size) {
  LCopyIconvFixedLength(dst, src, size, kIso88591, kUtf8);
}
void LCopyFromISO88591(char* dst, const char* src, unsigned long size) {
  LCopyIconvFixedLength(dst, src, size, kUtf8, kIso88591);
}

void LCopyToISO88591(char* dst, const char* src) { LCopyIconvFixedLength(dst, src, kIso88591, kUtf8); }
void LCopyFromISO88591(char* dst, const char* src) { LCopyIconvFixedLength(dst, src, kUtf8, kIso88591); }

unsigned long LCopyToEUCKR(char* dst, const char* src, unsigned long size) { return CopyBytes(dst, src, size); }
unsigned long LCopyFromEUCKR(char* dst, const char* src, unsigned long size) { return CopyBytes(dst, src, size); }
unsigned long LCopyToSHIFTJIS932(char* dst, const char* src, unsigned long size) { return CopyBytes(dst, src, size); }
unsigned long LCopyFromSHIFTJIS932(char* dst, const char* src, unsigned long size) { return CopyBytes(dst, src, size); }

void LCopyToWIN1252(LStringLong& target, const char* src) { LCopyToISO88591(target, src); }
void LCopyFromWIN1252(LStringLong& target, const char* src) { LCopyFromISO88591(target, src); }

void LCopyToISO88591(LStringLong& target, const char* src) {
  IntoText(target, src, kIn8Bit, static_cast<SizedCopy>(LCopyToISO88591));
}
void LCopyFromISO88591(LStringLong& target, const char* src) {
  IntoText(target, src, kInUtf8, static_cast<SizedCopy>(LCopyFromISO88591));
}

unsigned long LCopyToEUCKR(LStringLong& target, const char* src) {
  return IntoText(target, src, kIn8Bit, static_cast<SizedByteCopy>(LCopyToEUCKR));
}
unsigned long LCopyFromEUCKR(LStringLong& target, const char* src) {
  return IntoText(target, src, kInUtf8, static_cast<SizedByteCopy>(LCopyFromEUCKR));
}
unsigned long LCopyToSHIFTJIS932(LStringLong& target, const char* src) { return LCopyToEUCKR(target, src); }
unsigned long LCopyFromSHIFTJIS932(LStringLong& target, const char* src) { return LCopyFromEUCKR(target, src); }
