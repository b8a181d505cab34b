// A file as UTF-16 whose mark says the order.

#include <tillvane/text/LTextFile.h>

#include "require.h"
#include "text_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  return fuzz::CheckLoader(LLoadTextUnicode, data, size, [](const std::string& bytes, const LStringLong& text) {
    const bool high_first = bytes.starts_with("\xFE\xFF"), has_mark = high_first || bytes.starts_with("\xFF\xFE");
    fuzz::Require(text.c_str() == fuzz::FromUnits(bytes.substr(has_mark ? 2 : 0), high_first, false),
                  "the text is the file's units");
    fuzz::Require(text.size() == 0, "it has no length");
  });
}
