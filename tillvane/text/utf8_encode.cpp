#include <tillvane/text/LCharsets.h>
#include <tillvane/text/unit_length.h>
#include <tillvane/text/utf8_paths.h>
#include <tillvane/text/utf8_sequence.h>

namespace text {

namespace {

constexpr int kConverted = 0;
constexpr int kExhausted = 1;
constexpr int kReplaced = 2;

Encoded<wchar_t> RunFast(const Utf8Path& path, const wchar_t* from, const wchar_t* end, char* to, unsigned long room) {
  return path.encode_wide(from, end, to, room);
}

Encoded<unsigned short> RunFast(const Utf8Path& path, const unsigned short* from, const unsigned short* end, char* to,
                                unsigned long room) {
  return path.encode_units(from, end, to, room);
}

/// One character at a time, to the end.
template <class Unit>
int EncodeTail(const Encoded<Unit>& run, unsigned long room) {
  const Unit* from = run.from;
  char* to = run.to;
  int answer = run.replaced ? kReplaced : kConverted;
  for (; *from != 0; ++from) {
    const std::int32_t given = NumberOf(*from);
    const std::int32_t value = Encodable(given);
    const unsigned int length = EncodedLength(value);
    if (length > room) {
      answer = kExhausted;
      break;
    }
    if (value != given) answer = kReplaced;
    StoreSequence(value, length, to);
    to += length;
    room -= length;
  }
  *to = '\0';
  return answer;
}

template <class Unit>
int Encode(const Utf8Path& path, char* dst, const Unit* src, unsigned long size) {
  if (size == 0) return *src == 0 ? kConverted : kExhausted;
  const unsigned long room = size - 1;
  const auto run = RunFast(path, src, src + UnitLength(src, room), dst, room);
  return EncodeTail(run, room - static_cast<unsigned long>(run.to - dst));
}

}  // namespace

int EncodeUtf8(const Utf8Path& path, char* dst, const wchar_t* src, unsigned long size) {
  return Encode(path, dst, src, size);
}

int EncodeUtf8(const Utf8Path& path, char* dst, const unsigned short* src, unsigned long size) {
  return Encode(path, dst, src, size);
}

}  // namespace text

int LCopyUTF8FromUTF32Native(char* dst, const wchar_t* src, unsigned long size) {
  return text::EncodeUtf8(text::FastestUtf8Path(), dst, src, size);
}

int LCopyUTF8FromUTF32(char* dst, const wchar_t* src, unsigned long size) {
  return LCopyUTF8FromUTF32Native(dst, src, size);
}
