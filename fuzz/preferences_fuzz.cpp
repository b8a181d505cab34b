// A file of preferences, as anything may have left it. Input: the text.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <tillvane/platform/linux/preferences_format_linux.h>

#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using fuzz::Require;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const platform::ParsedPreferences parsed = platform::ParsePreferences({reinterpret_cast<const char*>(data), size});
  const std::string written = platform::FormatPreferences(parsed.values);
  const platform::ParsedPreferences again = platform::ParsePreferences(written);
  Require(again.is_whole, "what was written can be read");
  Require(again.values == parsed.values, "what was read is written");
  // The same bytes as a key and as texts.
  const platform::PreferenceValues values{{text, text}, {"t", std::vector<std::string>{text, text}}};
  Require(platform::ParsePreferences(platform::FormatPreferences(values)).values == values, "every text comes back");
  return 0;
}
