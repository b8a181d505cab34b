#include <string.h>

#include <clocale>

#include <tillvane/platform/locale_name.h>
#include <tillvane/system/LLocale.h>
#include <tillvane/text/LCharsets.h>

namespace {

const char* UseUsersLocale(int category) {
  // As much of it as a language and a country take: en_US.
  char identifier[6];
  utf8strlcpy(identifier, platform::UserLocaleIdentifier().c_str(), sizeof identifier);
  platform::SetProcessLocale(identifier);
  const char* const name = std::setlocale(category, nullptr);
  // The C library's own lasts until somebody sets another locale.
  return name != nullptr ? strdup(name) : nullptr;
}

}  // namespace

const char* LGetLocale(int category) {
  static const char* const name = UseUsersLocale(category);
  return name;
}
