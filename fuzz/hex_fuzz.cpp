// Hexadecimal digits, narrow and wide. Input: the text.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <tillvane/text/LStringUtilities.h>

#include "require.h"
#include "texts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = fuzz::Input(data, size).Text();
  const std::string digits = text.substr(0, text.find_first_not_of("0123456789abcdefABCDEF"));
  const std::string last = digits.size() > 8 ? digits.substr(digits.size() - 8) : digits;
  const unsigned long value = std::strtoul(last.c_str(), nullptr, 16);
  fuzz::Require(atoh(fuzz::Buffer(text).Get()) == value, "the last eight digits count");
  std::wstring wide;
  for (const char c : text) wide += static_cast<wchar_t>(static_cast<unsigned char>(c));
  fuzz::Require(wtoh(wide.c_str()) == value, "wide digits have the same value");
  return 0;
}
