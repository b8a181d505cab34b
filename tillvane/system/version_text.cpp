#include <tillvane/system/version_text.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <tillvane/text/LStringFields.h>

namespace bundle {

namespace {

constexpr unsigned long kTextSize = 260;

/// The number that a text begins with.
int Number(const char* text) {
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<long>(std::strtol(text, nullptr, 10), Limits::min(), Limits::max()));
}

/// What stands behind the first space, or at the end where there is none.
const char* BehindFirstSpace(const char* text) {
  text += std::strcspn(text, " ");
  return *text == ' ' ? text + 1 : text;
}

}  // namespace

bool ParseVersion(const char* text, int& major, int& minor) {
  if (*text == '\0') return false;
  if (*text == 'V') text = BehindFirstSpace(text);
  char part[kTextSize];
  text += LParseGetToCharacters(text, ".", part);
  major = Number(part);
  minor = *text == '.' ? Number(text + 1) : 0;
  return true;
}

}  // namespace bundle
