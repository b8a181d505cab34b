// Text that is saved and loaded again. Input: what the file held before, the text.

#include <algorithm>

#include <tillvane/text/LTextFile.h>

#include "require.h"
#include "text_files.h"
#include "texts.h"

namespace {

using fuzz::Require;

LStringLong TextOf(const std::string& bytes) {
  LStringLong text;
  text.GrowToSize(bytes.size() + 1);
  std::copy(bytes.begin(), bytes.end(), text.data());
  text.SetLength(bytes.size());
  return text;
}

void CheckUnicode(const fuzz::MemoryFile& file, const LStringLong& text) {
  Require(LSaveTextAsUnicodeBOM(file.Path(), text) == 0, "the file is closed");
  const std::string bytes = file.Bytes();
  Require(bytes.starts_with("\xFF\xFE") && bytes.size() % 2 == 0, "there is a mark, and whole units");
  LStringLong loaded;
  Require(LLoadTextUnicode(file.Path(), loaded) == 1, "it is loaded");
  const std::string expected = fuzz::FromUnits(bytes.substr(2), false, false);
  Require(loaded.c_str() == expected, "it is loaded as it was saved");
  // What has no unit of its own may be lost; ASCII never is.
  const std::string source = text.c_str();
  const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
  if (std::all_of(source.begin(), source.end(), is_ascii)) Require(expected == source, "it is the text");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::string before = input.Text(), bytes = input.Rest();
  const LStringLong text = TextOf(bytes);
  const fuzz::MemoryFile file(before);
  LSaveAppendText(file.Path(), text);
  Require(file.Bytes() == before + bytes, "the text is behind what was there");
  LSaveAppendText(file.Path(), text.c_str());
  Require(file.Bytes() == before + bytes + bytes.c_str(), "a C string ends at its terminator");
  LSaveText(file.Path(), text);
  Require(file.Bytes() == bytes, "the file is the text");
  LSaveText(file.Path(), before.c_str());
  Require(file.Bytes() == before, "the file is the C string");
  CheckUnicode(file, text);
  return 0;
}
