// A file as it is.

#include <tillvane/text/LTextFile.h>

#include "require.h"
#include "text_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::CheckLoader(LLoadText, data, size, [](const std::string& bytes, const LStringLong& text) {
    fuzz::Require(fuzz::BytesOf(text) == bytes && text.c_str()[bytes.size()] == '\0', "the text is the file");
  });
}
