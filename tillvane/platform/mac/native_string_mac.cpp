#include <tillvane/platform/native_string.h>

#include <cstring>

#include <tillvane/platform/mac/core_foundation_mac.h>

namespace platform {

CFStringRef StringFromUTF8(const char* text) {
  const auto* const bytes = reinterpret_cast<const UInt8*>(text);
  const CFStringRef string = CFStringCreateWithBytes(
      kCFAllocatorDefault, bytes, static_cast<CFIndex>(std::strlen(text)), kCFStringEncodingUTF8, false);
  return string != nullptr ? string : CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingUTF8);
}

CFStringRef StringFromUnits(const unsigned short* units, std::size_t length) {
  return CFStringCreateWithCharacters(kCFAllocatorDefault, units, static_cast<CFIndex>(length));
}

std::size_t StringLength(CFStringRef string) { return static_cast<std::size_t>(CFStringGetLength(string)); }

void CopyStringUnits(CFStringRef string, unsigned short* units) {
  CFStringGetCharacters(string, CFRangeMake(0, CFStringGetLength(string)), units);
}

bool CopyStringUTF8(CFStringRef string, char* text, std::size_t size) {
  return CFStringGetCString(string, text, static_cast<CFIndex>(size), kCFStringEncodingUTF8) != 0;
}

void ReleaseString(CFStringRef string) {
  if (string != nullptr) CFRelease(string);
}

std::string PlainText(CFTypeRef object) {
  if (object == nullptr || CFGetTypeID(object) != CFStringGetTypeID()) return {};
  const auto string = static_cast<CFStringRef>(object);
  const CFIndex most = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8);
  std::string text(static_cast<std::size_t>(most) + 1, '\0');
  if (!CopyStringUTF8(string, text.data(), text.size())) return {};
  text.resize(std::strlen(text.c_str()));
  return text;
}

}  // namespace platform
