#include <tillvane/platform/locale_name.h>

#include <clocale>
#include <cstdlib>

namespace platform {

// A name is language_COUNTRY.charset@variant.
std::string UserLocaleIdentifier() {
  for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* const value = std::getenv(variable);
    if (value == nullptr || *value == '\0') continue;
    const std::string name = value;
    return name.substr(0, name.find_first_of(".@"));
  }
  return {};
}

// What the environment says goes first, because it may say more: a locale for each category, a variant. It counts whole
// or not at all: where one of its names is not installed, the language still may be.
void SetProcessLocale(const char* identifier) {
  if (std::setlocale(LC_ALL, "") != nullptr || *identifier == '\0') return;
  if (std::setlocale(LC_ALL, (std::string(identifier) + ".UTF-8").c_str()) == nullptr) {
    std::setlocale(LC_ALL, identifier);
  }
}

}  // namespace platform
