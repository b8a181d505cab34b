// Filters of file types. Input: the filter, to which its last terminators are added.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <tillvane/files/LFileTypes.h>

#include "require.h"
#include "texts.h"

namespace {

/// The texts of a filter up to the first that is empty, by splitting it all.
std::vector<std::string> TextsOf(const std::string& filter) {
  std::vector<std::string> texts(1);
  for (const char c : filter) {
    if (c == '\0') {
      texts.emplace_back();
    } else {
      texts.back() += c;
    }
  }
  std::size_t count = 0;
  while (count < texts.size() && !texts[count].empty()) ++count;
  texts.resize(count);
  return texts;
}

/// Character by character: outside of an extension "*." begins one, inside ';' ends it.
std::vector<std::string> ExtensionsOf(const std::string& patterns) {
  std::vector<std::string> extensions;
  bool is_inside = false;
  std::string extension;
  for (std::size_t i = 0; i <= patterns.size(); ++i) {
    const char c = i < patterns.size() ? patterns[i] : ';';
    if (is_inside && c == ';') {
      if (extension != "*") extensions.push_back(extension);
      is_inside = false;
    } else if (is_inside) {
      extension += c;
    } else if (c == '.' && i > 0 && patterns[i - 1] == '*') {
      is_inside = true;
      extension.clear();
    }
  }
  return extensions;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string filter = fuzz::Input(data, size).Rest();
  fuzz::Buffer bytes(filter + '\0');
  LPlatformStringArray extensions;
  ParseFileTypes(&extensions, bytes.Get());

  std::vector<std::string> expected;
  const std::vector<std::string> texts = TextsOf(filter);
  for (std::size_t i = 1; i < texts.size(); i += 2) {
    for (const std::string& extension : ExtensionsOf(texts[i])) expected.push_back(extension);
  }
  fuzz::Require(extensions.All() == expected, "the extensions are those of the literal reading");
  return 0;
}
