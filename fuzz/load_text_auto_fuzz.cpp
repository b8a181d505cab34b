// A file as its mark says, or as it is.

#include <tillvane/text/LTextFile.h>

#include "require.h"
#include "text_files.h"

namespace {

void Check(const std::string& bytes, const LStringLong& text) {
  const bool high_first = bytes.starts_with("\xFE\xFF");
  if (high_first || bytes.starts_with("\xFF\xFE")) {
    fuzz::Require(text.c_str() == fuzz::FromUnits(bytes.substr(2), high_first, true), "the text is the file's units");
    fuzz::Require(text.size() == 0, "it has no length");
  } else if (bytes.starts_with("\xEF\xBB\xBF")) {
    fuzz::Require(fuzz::BytesOf(text) == bytes.c_str() + 3, "the text is behind the mark");
  } else {
    fuzz::Require(fuzz::BytesOf(text) == bytes, "the text is the file");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::CheckLoader(LLoadTextAutoChar, data, size, Check);
}
