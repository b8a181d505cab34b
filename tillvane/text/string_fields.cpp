#include <algorithm>
#include <cstring>

#include <tillvane/text/LStringFields.h>

namespace {

constexpr unsigned long kMostCharacters = 259;

/// Copies what may lie where it is copied to, cut to `size` with its terminator.
void CopyCut(char* out, unsigned long size, const char* begin, unsigned long length) {
  if (size == 0) return;
  const unsigned long count = std::min(length, size - 1);
  std::memmove(out, begin, count);
  out[count] = '\0';
}

const char* Find(const char* text, const char* marker) {
  return text != nullptr && marker != nullptr ? std::strstr(text, marker) : nullptr;
}

}  // namespace

template <class C>
bool LStringFindTextFieldTemplate(const C* text, const C* startMarker, const C* endMarker, C* out,
                                  unsigned long outSize) {
  const C* const start = Find(text, startMarker);
  if (start == nullptr) {
    CopyCut(out, outSize, "", 0);
    return false;
  }
  const C* const field = start + std::strlen(startMarker);
  const C* const end = Find(field, endMarker);
  CopyCut(out, outSize, field, end != nullptr ? static_cast<unsigned long>(end - field) : std::strlen(field));
  return true;
}

template bool LStringFindTextFieldTemplate(const char*, const char*, const char*, char*, unsigned long);

bool LStringFindTextField(const char* text, const char* startMarker, const char* endMarker, char* out,
                          unsigned long outSize) {
  return LStringFindTextFieldTemplate<char>(text, startMarker, endMarker, out, outSize);
}

template <class C>
unsigned long LParseGetToCharacters(const C* text, const C* stopChars, C* out) {
  const C* const begin = text != nullptr ? text : "";
  const unsigned long count = std::strcspn(begin, stopChars != nullptr ? stopChars : "");
  CopyCut(out, kMostCharacters + 1, begin, count);
  return count;
}

template unsigned long LParseGetToCharacters(const char*, const char*, char*);
