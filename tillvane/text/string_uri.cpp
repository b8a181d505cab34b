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

constexpr bool IsKept(int c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '!' ||
         c == '.' || c == '_' || c == '~';
}

constexpr std::array<Escape, 256> kEscapes = [] {
  constexpr char digits[] = "0123456789ABCDEF";
  std::array<Escape, 256> escapes{};
  for (int c = 0; c < 256; ++c) {
    escapes[static_cast<unsigned char>(c)] =
        IsKept(c) ? Escape{{static_cast<char>(c)}, 1} : Escape{{'%', digits[c / 16], digits[c % 16]}, 3};
  }
  return escapes;
}();

const Escape& EscapeOf(char c) { return kEscapes[static_cast<unsigned char>(c)]; }

constexpr std::size_t kMostOfKey = 261;

}  // namespace

template <class W>
void LURIEncodeToWriterDirect(W& writer, const char* text) {
  if (text == nullptr || writer.length >= writer.capacity) return;
  char* out = writer.buffer + writer.length;
  char* const end = writer.buffer + writer.capacity;
  const char* const text_end = text + std::strlen(text);
  // A whole entry is stored each time, without asking how long it is. The three bytes at its end that may be too many
  // are overwritten by the three characters that follow.
  while (text_end - text > 3 && end - out > 3) {
    const Escape& escape = EscapeOf(*text++);
    std::memcpy(out, &escape, sizeof escape);
    out += escape.length;
  }
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
