// An application's information dictionary, as anybody may have written it. Input: the file.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <tillvane/platform/linux/info_plist_linux.h>
#include <tillvane/platform/linux/plist_size_linux.h>

#include "require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // On the heap, exactly so many bytes.
  const std::string file(reinterpret_cast<const char*>(data), size);
  const std::string text = platform::InfoPlistText(file, "CFBundleVersion");
  fuzz::Require(text.size() <= 3 * size, "a text stands in the file");
  fuzz::Require(text.empty() || platform::IsPlistModest(file), "only what is modest is read");
  return 0;
}
