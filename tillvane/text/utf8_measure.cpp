#include <algorithm>
#include <cstring>
#include <limits>

#include <tillvane/text/LCharsets.h>
#include <tillvane/text/utf8_paths.h>
#include <tillvane/text/utf8_sequence.h>

namespace text {

namespace {

constexpr unsigned long kAll = std::numeric_limits<unsigned long>::max();
constexpr unsigned long kLongest = 6;

const unsigned char* Bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

/// Bytes of the whole characters at the beginning of a text that are at most `room` bytes by what their first bytes
/// say. Of a sequence that the terminator cuts only the bytes before it count.
unsigned long BytesOfWhole(const Utf8Path& path, const char* text, unsigned long room) {
  const unsigned char* const bytes = Bytes(text);
  const unsigned long there = strnlen(text, room);
  // A walk may go on behind its end by all but one byte of a sequence.
  const unsigned char* const sure = bytes + (there > kLongest ? there - kLongest : 0);
  auto at = static_cast<unsigned long>(path.walk(bytes, sure, kAll).at - bytes);
  while (at < there && at + SequenceLength(bytes[at]) <= room) at += SequenceLength(bytes[at]);
  return std::min(at, there);
}

}  // namespace

unsigned long CopyCharacters(const Utf8Path& path, char* dst, const char* src, unsigned long size) {
  const unsigned long copied = BytesOfWhole(path, src, size != 0 ? size - 1 : 0);
  std::memcpy(dst, src, copied);
  dst[copied] = '\0';
  return copied;
}

unsigned long BytesOfCharacters(const Utf8Path& path, const char* text, unsigned long characters) {
  const unsigned char* const bytes = Bytes(text);
  const unsigned long there = strnlen(text, characters < kAll / kLongest ? characters * kLongest : kAll);
  return std::min(static_cast<unsigned long>(path.walk(bytes, bytes + there, characters).at - bytes), there);
}

unsigned long CharactersInBytes(const Utf8Path& path, const char* text, unsigned long bytes) {
  return path.walk(Bytes(text), Bytes(text) + strnlen(text, bytes), kAll).sequences;
}

}  // namespace text

unsigned long utf8strlen(const char* text) {
  return text::CharactersInBytes(text::FastestUtf8Path(), text, text::kAll);
}

unsigned long utf8strlcpy(char* dst, const char* src, unsigned long size) {
  return text::CopyCharacters(text::FastestUtf8Path(), dst, src, size);
}

unsigned long LCharsetsUTF8CharIndexToByteIndex(const char* text, unsigned long charIndex) {
  return text::BytesOfCharacters(text::FastestUtf8Path(), text, charIndex);
}

unsigned long LCharsetsUTF8ByteIndexToCharIndex(const char* text, unsigned long byteIndex) {
  return text::CharactersInBytes(text::FastestUtf8Path(), text, byteIndex);
}
