#include <tillvane/platform/code_page.h>

#include <tillvane/platform/mac/core_foundation_mac.h>

namespace platform {

namespace {

/// \return false when a byte means nothing
bool Decode(const char* text, CFIndex count, UniChar* units) {
  const auto* const bytes = reinterpret_cast<const UInt8*>(text);
  const OwnedObject<CFStringRef> string(
      CFStringCreateWithBytes(kCFAllocatorDefault, bytes, count, kCFStringEncodingWindowsLatin1, false));
  if (string == nullptr || CFStringGetLength(string.get()) != count) return false;
  CFStringGetCharacters(string.get(), CFRangeMake(0, count), units);
  return true;
}

}  // namespace

void UnitsFromWindows1252(const char* text, std::size_t count, unsigned short* units) {
  if (Decode(text, static_cast<CFIndex>(count), units)) return;
  // The system takes the whole text or nothing of it.
  for (std::size_t i = 0; i < count; ++i) {
    if (!Decode(text + i, 1, units + i)) units[i] = static_cast<unsigned char>(text[i]);
  }
}

// Not by CFStringGetCString, which wants room for a terminator.
std::size_t Iso88591FromUnits(const unsigned short* units, std::size_t count, char* text) {
  const auto length = static_cast<CFIndex>(count);
  const OwnedObject<CFStringRef> string(CFStringCreateWithCharacters(kCFAllocatorDefault, units, length));
  if (string == nullptr) return 0;
  CFIndex used = 0;
  const CFIndex read = CFStringGetBytes(string.get(), CFRangeMake(0, length), kCFStringEncodingISOLatin1, 0, false,
                                        reinterpret_cast<UInt8*>(text), length, &used);
  return read == length ? static_cast<std::size_t>(used) : 0;
}

}  // namespace platform
