#include <cstddef>
#include <string_view>

#include <tillvane/files/LFileTypes.h>
#include <tillvane/platform/string_array.h>

namespace {

void AppendExtensions(LPlatformStringArray* extensions, std::string_view patterns) {
  for (std::size_t begin; (begin = patterns.find("*.")) != std::string_view::npos;) {
    patterns.remove_prefix(begin + 2);
    const std::size_t end = patterns.find(';');
    const std::string_view extension = patterns.substr(0, end);
    if (extension != "*") platform::AppendString(extensions, extension);
    if (end == std::string_view::npos) return;
    patterns.remove_prefix(end + 1);
  }
}

}  // namespace

void ParseFileTypes(LPlatformStringArray* extensions, const char* filter) {
  if (filter == nullptr) return;
  while (*filter != '\0') {
    filter += std::string_view(filter).size() + 1;
    const std::string_view patterns(filter);
    if (patterns.empty()) return;
    AppendExtensions(extensions, patterns);
    filter += patterns.size() + 1;
  }
}
