#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

#include <tillvane/text/LCharsets.h>
#include <tillvane/text/LStringUtilities.h>

#include "require.h"

/// \file
/// The input is a size and a text up to its first 0: it goes through the Ansi forms and those of iconv, into memory
/// that ends where the size says.

namespace {

using fuzz::Require;

using Sized = void (*)(char*, const char*, unsigned long);
using Unsized = void (*)(char*, const char*);
using Growable = void (*)(LStringLong&, const char*);

/// \return what was written, up to a terminator or to the end
template <class Convert>
std::string Into(std::size_t size, Convert convert) {
  const auto buffer = std::make_unique<char[]>(size);
  convert(buffer.get());
  return std::string(buffer.get(), strnlen(buffer.get(), size));
}

void CheckSizes(const std::string& text, std::size_t size, Sized convert, Growable grow) {
  const auto whole = Into(text.size() * 6 + 1, [&](char* to) { convert(to, text.c_str(), text.size() * 6 + 1); });
  const auto cut = Into(size, [&](char* to) { convert(to, text.c_str(), size); });
  Require(cut.size() <= size && whole.compare(0, cut.size(), cut) == 0, "a smaller size gives the same, cut");
  LStringLong grown;
  grow(grown, text.c_str());
  Require(whole == grown.c_str(), "a growable text takes all of it");
}

void CheckUnsized(const std::string& text, Sized convert, Unsized unsized) {
  const std::size_t size = text.size() + 1;
  const auto sized = Into(size, [&](char* to) { convert(to, text.c_str(), size); });
  Require(sized == Into(size, [&](char* to) { unsized(to, text.c_str()); }), "the size is the text's");
}

void CheckAnsi(const std::string& text, std::size_t size) {
  const auto utf8 = Into(size, [&](char* to) { LCopyUTF8FromAnsi(to, text.c_str(), size); });
  Require(utf8.empty() || (text.size() + 1) * 2 <= size, "Ansi text is read as a whole or not at all");
  const auto ansi = Into(size, [&](char* to) { LCopyAnsiFromUTF8(to, text.c_str(), size); });
  Require(ansi.size() < size, "Ansi text is terminated");

  LStringLong source, back;
  source = text.c_str();
  LStringLongTemplate<unsigned short> units;
  Require(LCopyUnicodeFromAnsi(units, source) == text.size(), "each byte is a unit");
  const unsigned long length = LCopyAnsiFromUnicode(back, units);
  Require(length == 0 || length == text.size(), "a text comes back as a whole or not at all");
  Require(length == 0 || text == back.c_str(), "a text that comes back is the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::size_t bound = data[0] + 1u;
  const char* const bytes = reinterpret_cast<const char*>(data) + 1;
  const std::string text(bytes, strnlen(bytes, size - 1));
  CheckSizes(text, bound, LCopyToISO88591, LCopyToISO88591);
  CheckSizes(text, bound, LCopyFromISO88591, LCopyFromISO88591);
  CheckUnsized(text, LCopyToISO88591, LCopyToISO88591);
  CheckUnsized(text, LCopyFromISO88591, LCopyFromISO88591);
  CheckAnsi(text, bound);
  return 0;
}
