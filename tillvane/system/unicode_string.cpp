#include <tillvane/platform/native_string.h>
#include <tillvane/system/LCFString.h>
#include <tillvane/system/LUnicodeString.h>
#include <tillvane/text/LStringUtilities.h>

namespace {

template <class T>
void Convert(const unsigned short* units, LStringLongTemplate<T>& text) {
  const LCFString string(units != nullptr ? platform::StringFromUnits(units, lstrlen(units)) : nullptr);
  string.GetString(text);
}

}  // namespace

void LUnicodeString::GetString(LStringLongTemplate<char>& text) const { Convert(text_, text); }

void LUnicodeString::GetString(LStringLongTemplate<wchar_t>& text) const { Convert(text_, text); }
