#include <tillvane/platform/locale_name.h>

#include <clocale>

#include <tillvane/platform/mac/core_foundation_mac.h>

namespace platform {

namespace {

std::string CurrentIdentifier() {
  const OwnedObject<CFLocaleRef> locale(CFLocaleCopyCurrent());
  return locale != nullptr ? PlainText(CFLocaleGetIdentifier(locale.get())) : std::string();
}

/// What the library's own preferences say, else the user's for every application.
std::string PreferredIdentifier() {
  const CFStringRef key = CFSTR("AppleLocale");
  OwnedObject<CFPropertyListRef> value(CFPreferencesCopyAppValue(key, CFSTR(TILLVANE_BUNDLE_IDENTIFIER)));
  if (value == nullptr) {
    value.reset(
        CFPreferencesCopyValue(key, kCFPreferencesAnyApplication, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
  }
  return PlainText(value.get());
}

}  // namespace

std::string UserLocaleIdentifier() {
  const std::string identifier = CurrentIdentifier();
  return !identifier.empty() ? identifier : PreferredIdentifier();
}

void SetProcessLocale(const char* identifier) { std::setlocale(LC_ALL, identifier); }

}  // namespace platform
