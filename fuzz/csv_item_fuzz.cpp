// A line of items, beside a reader that takes one character at a time. Input: the item's size, the text.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include <tillvane/text/LStringLists.h>

#include "require.h"
#include "texts.h"

namespace {

using fuzz::Require;

struct Item {
  std::string text;
  unsigned long position;
};

Item Expected(const std::string& line, unsigned long position, std::size_t size) {
  std::string item;
  std::size_t cut = 0;
  bool in_quotes = false, has_stored = false;
  for (; position < line.size() && std::strchr("\n\r", line[position]) == nullptr; ++position) {
    const char c = line[position];
    if (c == '"') {
      in_quotes = !in_quotes;
    } else if (c == ',' && !in_quotes) {
      ++position;
      break;
    } else if (c != ' ' || in_quotes || has_stored) {
      item += c;
      has_stored |= size > 1;
      if (c != ' ' || in_quotes) cut = item.size();
    }
  }
  return {item.substr(0, std::min(cut, size > 0 ? size - 1 : 0)), position};
}

void CheckItem(const fuzz::Buffer& text, const std::string& line, unsigned long& position, std::size_t size) {
  const Item expected = Expected(line, position, size);
  fuzz::Buffer item(size);
  const bool is_there = GetCSVListItem(text.Get(), position, item.Get(), size);
  Require(is_there == !expected.text.empty(), "the answer is whether there is an item");
  Require(position == expected.position, "the position is behind the item");
  if (size > 0) Require(item.Bytes().c_str() == expected.text, "the item is as expected");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::size_t item_size = input.Number();
  const std::string line = input.Text();
  const fuzz::Buffer text(line);
  unsigned long position = 0;
  for (;;) {
    CheckItem(text, line, position, item_size);
    if (position == line.size()) return 0;
    // The next line begins behind the character that ended this one.
    if (line[position] == '\n' || line[position] == '\r') ++position;
  }
}
