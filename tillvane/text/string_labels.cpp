#include <cstring>

#include <tillvane/text/LStringLabels.h>

namespace {

const char* OrEmpty(const char* text) { return text != nullptr ? text : ""; }

/// \return the first byte behind the group that begins here, where one does
const char* SkipGroup(const char* group) {
  while (*group != '\0') {
    if (*group++ == ')') break;
  }
  return group;
}

}  // namespace

void LStripAmpersand(char* dst, const char* src) {
  src = OrEmpty(src);
  for (; *src != '\0'; ++src) {
    // What follows a mark stays, be it another one; at the end there is nothing.
    if (*src == '&' && *++src == '\0') break;
    *dst++ = *src;
  }
  *dst = '\0';
}

void LStripJPStyleAmpersand(char* dst, const char* src) {
  src = OrEmpty(src);
  while (*src != '\0') {
    if (src[0] == '(' && src[1] == '&') {
      src = SkipGroup(src);
    } else {
      *dst++ = *src++;
    }
  }
  *dst = '\0';
}

void LPrepareForDisplay(char* dst, const char* src) { LStripAmpersand(dst, src); }

void LPrepareForMenuItem(char* dst, const char* src) {
  LStripAmpersand(dst, src);
  LStripFromFirstTabToEnd(dst);
}

void LStripFromFirstTabToEnd(char* text) {
  if (text == nullptr) return;
  if (char* const tab = std::strchr(text, '\t')) *tab = '\0';
}
