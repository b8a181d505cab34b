#include <cstring>

#include <tillvane/text/LCharsets.h>
#include <tillvane/text/utf8_paths.h>
#include <tillvane/text/utf8_sequence.h>

namespace text {

namespace {

static_assert(sizeof(wchar_t) == 4, "a code point is a wchar_t");

constexpr int kConverted = 0;
constexpr int kExhausted = 1;
constexpr int kNotUtf8 = 2;

Decoded<wchar_t> RunFast(const Utf8Path& path, const unsigned char* from, const unsigned char* end, wchar_t* to) {
  return path.decode_wide(from, end, to);
}

Decoded<unsigned short> RunFast(const Utf8Path& path, const unsigned char* from, const unsigned char* end,
                                unsigned short* to) {
  return path.decode_units(from, end, to);
}

/// One sequence at a time, to the end. A legal one is always a code point that can be stored, so U+FFFD, which stands
/// for what cannot be, never comes from here.
/// \param room bytes that may still be read as sequences: this bound comes before the question of what is legal
template <class Unit>
int DecodeTail(const unsigned char* from, unsigned long room, Unit* to) {
  int answer = kConverted;
  while (*from != 0) {
    const unsigned int length = SequenceLength(*from);
    const std::uint32_t value = length <= room ? DecodeSequence(from, length) : kIllegal;
    if (value == kIllegal) {
      answer = length <= room ? kNotUtf8 : kExhausted;
      break;
    }
    *to++ = static_cast<Unit>(value);
    from += length;
    room -= length;
  }
  *to = 0;
  return answer;
}

template <class Unit>
int Decode(const Utf8Path& path, Unit* dst, const char* src, unsigned long size) {
  if (size == 0) return *src == '\0' ? kConverted : kExhausted;
  const auto* const bytes = reinterpret_cast<const unsigned char*>(src);
  const auto run = RunFast(path, bytes, bytes + strnlen(src, size - 1), dst);
  return DecodeTail(run.from, size - 1 - static_cast<unsigned long>(run.from - bytes), run.to);
}

}  // namespace

int DecodeUtf8(const Utf8Path& path, wchar_t* dst, const char* src, unsigned long size) {
  return Decode(path, dst, src, size);
}

int DecodeUtf8(const Utf8Path& path, unsigned short* dst, const char* src, unsigned long size) {
  return Decode(path, dst, src, size);
}

}  // namespace text

int LCopyUTF32FromUTF8Native(wchar_t* dst, const char* src, unsigned long size) {
  return text::DecodeUtf8(text::FastestUtf8Path(), dst, src, size);
}

int LCopyUTF32FromUTF8(wchar_t* dst, const char* src, unsigned long size) {
  return LCopyUTF32FromUTF8Native(dst, src, size);
}
