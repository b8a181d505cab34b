#include <tillvane/platform/native_string.h>

#include <unicode/ustring.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include <tillvane/platform/string_array.h>

namespace platform {

struct NativeString {
  std::u16string units;
};

namespace {

/// ICU counts in int32_t.
constexpr std::size_t kMost = INT32_MAX;

}  // namespace

CFStringRef StringFromUTF8(const char* text) {
  const std::size_t size = std::strlen(text);
  if (size > kMost) return nullptr;
  auto string = std::make_unique<NativeString>();
  // A character never has more units than bytes.
  string->units.resize(size);
  std::int32_t length = 0;
  UErrorCode error = U_ZERO_ERROR;
  const auto most = static_cast<std::int32_t>(size);
  u_strFromUTF8(string->units.data(), most, &length, text, most, &error);
  if (U_FAILURE(error)) return nullptr;
  string->units.resize(static_cast<std::size_t>(length));
  return string.release();
}

CFStringRef StringFromUnits(const unsigned short* units, std::size_t length) {
  return new NativeString{std::u16string(units, units + length)};
}

std::size_t StringLength(CFStringRef string) { return string->units.size(); }

void CopyStringUnits(CFStringRef string, unsigned short* units) {
  std::copy(string->units.begin(), string->units.end(), units);
}

bool CopyStringUTF8(CFStringRef string, char* text, std::size_t size) {
  const std::u16string& units = string->units;
  if (units.size() > kMost) return false;
  UErrorCode error = U_ZERO_ERROR;
  u_strToUTF8(text, static_cast<std::int32_t>(std::min(size, kMost)), nullptr, units.data(),
              static_cast<std::int32_t>(units.size()), &error);
  return U_SUCCESS(error) && error != U_STRING_NOT_TERMINATED_WARNING;
}

void ReleaseString(CFStringRef string) { delete string; }

std::string TextOfString(LPlatformString* string) {
  // A unit becomes at most three bytes, a pair of them four.
  std::string text(StringLength(string) * 3 + 1, '\0');
  if (!CopyStringUTF8(string, text.data(), text.size())) return {};
  text.resize(text.find('\0'));
  return text;
}

}  // namespace platform
