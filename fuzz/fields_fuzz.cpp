// Fields between marks, and characters before a stop. Input: the output's size, the start mark, the end mark, the text.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include <tillvane/text/LStringFields.h>

#include "require.h"
#include "texts.h"

namespace {

using fuzz::Require;

void CheckField(const std::string& text, const std::string& start, const std::string& end, std::size_t size) {
  const fuzz::Buffer from(text), start_mark(start), end_mark(end);
  fuzz::Buffer out(size);
  const bool is_found = LStringFindTextField(from.Get(), start_mark.Get(), end_mark.Get(), out.Get(), size);
  const std::size_t begin = text.find(start);
  Require(is_found == (begin != std::string::npos), "a field is found where its mark stands");
  if (size == 0) return;
  std::string field;
  if (is_found) {
    const std::string rest = text.substr(begin + start.size());
    field = rest.substr(0, rest.find(end));
  }
  Require(out.Get() == field.substr(0, size - 1), "the field is as expected");
}

void CheckCharacters(const std::string& text, const std::string& stops) {
  const fuzz::Buffer from(text), stop_characters(stops);
  fuzz::Buffer out(260);
  const std::size_t count = std::min(text.find_first_of(stops), text.size());
  Require(LParseGetToCharacters<char>(from.Get(), stop_characters.Get(), out.Get()) == count, "all are counted");
  Require(out.Get() == text.substr(0, std::min<std::size_t>(count, 259)), "what fits is stored");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::size_t out_size = input.Number();
  const std::string start = input.Text(), end = input.Text(), text = input.Text();
  CheckField(text, start, end, out_size);
  CheckCharacters(text, start);
  CheckCharacters(text, end);
  return 0;
}
