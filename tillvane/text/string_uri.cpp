#include <algorithm>
#include <array>
#include <cstring>

#include <tillvane/text/LStringURI.h>

namespace {

/// How a byte is written.
struct Escape {
  char text[3];
  unsigned char length;
};

using Byte = unsigned char;

constexpr Byte IsBetween(Byte c, Byte first, Byte last) { return static_cast<Byte>(c - first) <= last - first ? 1 : 0; }

/// 1 or 0, and without a branch: so compilers ask for a whole block at once.
constexpr Byte IsKept(Byte c) {
  return static_cast<Byte>(IsBetween(c | 0x20, 'a', 'z') | IsBetween(c, '0', '9') | IsBetween(c, '-', '.') |
                           IsBetween(c, '!', '!') | IsBetween(c, '_', '_') | IsBetween(c, '~', '~'));
}

constexpr std::array<Escape, 256> kEscapes = [] {
  constexpr char digits[] = "0123456789ABCDEF";
  std::array<Escape, 256> escapes{};
  for (int c = 0; c < 256; ++c) {
    escapes[static_cast<unsigned char>(c)] = IsKept(static_cast<Byte>(c)) != 0
                                                 ? Escape{{static_cast<char>(c)}, 1}
                                                 : Escape{{'%', digits[c / 16], digits[c % 16]}, 3};
  }
  return escapes;
}();

const Escape& EscapeOf(char c) { return kEscapes[static_cast<unsigned char>(c)]; }

constexpr std::ptrdiff_t kBlock = 16;

bool IsBlockKept(const char* text) {
  Byte kept = 0;
  for (std::ptrdiff_t i = 0; i < kBlock; ++i) kept = static_cast<Byte>(kept + IsKept(static_cast<Byte>(text[i])));
  return kept == kBlock;
}

/// Stores a whole entry, without asking how long it is: up to three bytes at its end are too many. \return what follows
/// those that are not
char* StoreWhole(char* out, char c) {
  const Escape& escape = EscapeOf(c);
  std::memcpy(out, &escape, sizeof escape);
  return out + escape.length;
}

constexpr std::size_t kMostOfKey = 261;

}  // namespace

template <class W>
void LURIEncodeToWriterDirect(W& writer, const char* text) {
  if (text == nullptr || writer.length >= writer.capacity) return;
  char* out = writer.buffer + writer.length;
  char* const end = writer.buffer + writer.capacity;
  const char* const text_end = text + std::strlen(text);
  // The bytes that are too many are overwritten by the three characters that follow.
  while (text_end - text >= kBlock + 3 && end - out > 3 * kBlock) {
    if (IsBlockKept(text)) {
      out = std::copy_n(text, kBlock, out);
      text += kBlock;
    } else {
      for (const char* const block_end = text + kBlock; text != block_end; ++text) out = StoreWhole(out, *text);
    }
  }
  while (text_end - text > 3 && end - out > 3) out = StoreWhole(out, *text++);
  for (; text != text_end && out != end; ++text) {
    const Escape& escape = EscapeOf(*text);
    out = std::copy_n(escape.text, std::min<std::ptrdiff_t>(escape.length, end - out), out);
  }
  writer.length = static_cast<unsigned int>(out - writer.buffer);
}

template void LURIEncodeToWriterDirect(LFixedLengthStringWriterTemplate<char>&, const char*);

void LRemoveHTTPItem(const char* key, char* query) {
  if (key == nullptr || query == nullptr) return;
  char pattern[kMostOfKey + 1];
  char* pattern_end = std::copy_n(key, strnlen(key, kMostOfKey), pattern);
  if (pattern_end != pattern + kMostOfKey) *pattern_end++ = '=';
  *pattern_end = '\0';
  char* start = std::strstr(query, pattern);
  if (start == nullptr) return;
  const char* const value = start + (pattern_end - pattern);
  const char* const rest = value + std::strcspn(value, "&");
  if (start != query && start[-1] == '&') --start;
  std::memmove(start, rest, std::strlen(rest) + 1);
}
