// A file as UTF-16 without a look at marks.

#include <tillvane/text/LTextFile.h>

#include "require.h"
#include "text_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::CheckLoader(LLoadTextAsUTF16, data, size, [](const std::string& bytes, const LStringLong& text) {
    fuzz::Require(text.c_str() == fuzz::FromUnits(bytes, false, false), "the text is the file's units");
    fuzz::Require(text.size() == 0, "it has no length");
  });
}
