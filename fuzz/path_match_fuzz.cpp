// Names beside patterns. Input: the pattern, the name.

#include <cstddef>
#include <cstdint>
#include <string>

#include <tests/support/path_difference.h>

#include "require.h"
#include "texts.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::string pattern = input.Text(), name = input.Text();
  support::PathDifference difference;
  difference.CompareMatching(pattern, name);
  fuzz::Require(difference.Text().empty(), difference.Text().c_str());
  return 0;
}
