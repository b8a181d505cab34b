// Paths taken apart, put together, related and cleaned. Input: how many characters repeat the first path, two paths, a
// suffix, a number.

#include <cstddef>
#include <cstdint>
#include <string>

#include <tests/support/path_difference.h>

#include "require.h"
#include "texts.h"

namespace {

/// A path's buffer ends at 260: a short input shall come there too.
std::string Repeat(const std::string& text, std::size_t count) {
  std::string all = text;
  while (!text.empty() && all.size() < count) all += text;
  return all;
}

unsigned long long Size(fuzz::Input& input) {
  unsigned long long size = 0;
  for (const char byte : input.Bytes(sizeof size)) size = size << 8 | static_cast<unsigned char>(byte);
  return size;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::size_t count = 2 * input.Number();
  const std::string first = input.Text(), second = input.Text(), suffix = input.Text();
  const std::string path = Repeat(first, count);
  support::PathDifference difference;
  for (const std::string& one : {path, second, path + second}) {
    difference.CompareSplitting(one);
    difference.CompareCleaning(one);
  }
  difference.CompareJoining(path, second, suffix);
  difference.CompareJoining(second, path, suffix);
  difference.CompareWays(path, second);
  difference.CompareWays(second, path);
  difference.CompareWays(path + second, path + suffix);
  difference.CompareSize(Size(input));
  fuzz::Require(difference.Text().empty(), difference.Text().c_str());
  return 0;
}
