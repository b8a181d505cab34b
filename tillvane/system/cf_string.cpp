#include <algorithm>
#include <cstring>
#include <cwchar>
#include <utility>

#include <tillvane/platform/native_string.h>
#include <tillvane/system/LCFString.h>
#include <tillvane/text/LCharsets.h>
#include <tillvane/text/LStringUtilities.h>

namespace {

using Units = LStringLongTemplate<unsigned short>;

/// The bytes that a unit has at most in UTF-8, by its oldest definition.
constexpr unsigned long kLongestSequence = 6;

CFStringRef StringFromMalformedUTF8(const char* text) {
  const unsigned long size = std::strlen(text) + 1;
  Units units;
  units.GrowToSize(size);
  LCopyUnicodeFromUTF8(units.data(), text, size);
  return platform::StringFromUnits(units.c_str(), lstrlen(units.c_str()));
}

}  // namespace

LCFString::~LCFString() { Release(); }

void LCFString::Release() { platform::ReleaseString(std::exchange(string_, nullptr)); }

void LCFString::SetString(const char* text) {
  Release();
  if (text == nullptr) return;
  string_ = platform::StringFromUTF8(text);
  if (string_ == nullptr) string_ = StringFromMalformedUTF8(text);
}

void LCFString::GetString(LStringLongTemplate<char>& text) const {
  text.SetLength(0);
  if (string_ == nullptr) return;
  text.GrowToSize(platform::StringLength(string_) * kLongestSequence + 1);
  const bool is_whole = platform::CopyStringUTF8(string_, text.data(), text.capacity());
  text.SetLength(is_whole ? std::strlen(text.c_str()) : 0);
}

void LCFString::GetString(char* dest, unsigned long capacity) const {
  if (capacity == 0) return;
  LStringLong text;
  GetString(text);
  utf8strlcpy(dest, text.c_str(), capacity);
}

void LCFString::GetString(LStringLongTemplate<wchar_t>& text) const {
  text.SetLength(0);
  if (string_ == nullptr) return;
  const unsigned long size = platform::StringLength(string_) + 1;
  Units units;
  units.GrowToSize(size);
  platform::CopyStringUnits(string_, units.data());
  units.SetLength(size - 1);
  text.GrowToSize(size);
  LCopyUTF32FromUnicode(text.data(), units.c_str(), size);
  text.SetLength(std::wcslen(text.c_str()));
}

void LCFString::GetString(wchar_t* dest, unsigned long capacity) const {
  if (capacity == 0) return;
  LStringLongTemplate<wchar_t> text;
  GetString(text);
  const unsigned long length = std::min<unsigned long>(text.size(), capacity - 1);
  std::copy_n(text.c_str(), length, dest);
  dest[length] = 0;
}
