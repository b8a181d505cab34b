// A command line, beside a splitter that takes one character at a time. Input: the line.

#include <cstddef>
#include <cstdint>
#include <string>

#include <tillvane/text/LCommandLineArgumentStringExpander.h>

#include "require.h"
#include "texts.h"

namespace {

using fuzz::Require;

std::string Expected(const std::string& line, std::size_t& at) {
  while (at < line.size() && static_cast<unsigned char>(line[at]) <= 32) ++at;
  std::string argument;
  for (bool in_quotes = false; at < line.size();) {
    const char c = line[at++];
    if (c == ' ' && !in_quotes) break;
    if (c == '"') {
      if (in_quotes) break;
      in_quotes = true;
    } else if (c == '\\' && at < line.size() && line[at] == ' ') {
      argument += ' ';
      ++at;
    } else {
      argument += c;
    }
  }
  return argument;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line = fuzz::Input(data, size).Text();
  const fuzz::Buffer text(line);
  LCommandLineArgumentStringExpander expander(text.Get());
  std::size_t at = 0;
  unsigned long count = 0, until_an_empty_one = 0;
  bool is_counting = true;
  while (at < line.size()) {
    const std::string expected = Expected(line, at);
    Require(expander.NextArgument() == !expected.empty(), "the answer is whether there is an argument");
    Require(expander.GetArgument() == expected, "the argument is as expected");
    // The first one is not counted, whatever it is.
    is_counting = is_counting && (count == 0 || !expected.empty());
    if (is_counting && count > 0) ++until_an_empty_one;
    ++count;
  }
  Require(!expander.NextArgument() && *expander.GetArgument() == '\0', "at the end there is none");
  Require(expander.GetArgumentCount(text.Get()) == until_an_empty_one, "the count ends at the first empty one");
  return 0;
}
