#include <algorithm>
#include <string_view>

#include <tillvane/files/LFile.h>

namespace {

/// As in the C locale: in others an 'I' may be the upper case of something else.
char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool IsSameButForCase(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return Lower(a) == Lower(b); });
}

}  // namespace

int LIsFileExtensionInList(const char** list, const char* extension) {
  for (; *list != nullptr; ++list) {
    if (IsSameButForCase(*list, extension)) return 1;
  }
  return 0;
}
