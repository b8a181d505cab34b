// Versions out of texts. Input: the text.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>

#include <tillvane/system/LCFString.h>
#include <tillvane/system/version_text.h>

#include "require.h"
#include "texts.h"

namespace {

int Number(const std::string& text) {
  const long number = std::strtol(text.c_str(), nullptr, 10);
  if (number > std::numeric_limits<int>::max()) return std::numeric_limits<int>::max();
  if (number < std::numeric_limits<int>::min()) return std::numeric_limits<int>::min();
  return static_cast<int>(number);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using fuzz::Require;
  constexpr std::size_t room = 260;
  const fuzz::Buffer text(fuzz::Input(data, size).Text());
  LCFString string;
  string.SetString(text.Get());
  fuzz::Buffer cut(room);
  string.GetString(cut.Get(), room);
  const std::string version = cut.Get();
  Require(version.size() < room, "the text is terminated");
  int major = 77, minor = 78;
  const bool has_version = bundle::ParseVersion(cut.Get(), major, minor);
  Require(has_version == !version.empty(), "only an empty text has no version");
  std::string rest = version;
  if (rest.starts_with('V')) rest = rest.find(' ') == std::string::npos ? "" : rest.substr(rest.find(' ') + 1);
  const std::size_t dot = rest.find('.');
  Require(major == (has_version ? Number(rest.substr(0, dot)) : 77), "the major number");
  Require(minor == (!has_version               ? 78
                    : dot == std::string::npos ? 0
                                               : Number(rest.substr(dot + 1))),
          "the minor number");
  return 0;
}
