// What is written into URIs and taken out of them. Input: room in the writer, a key, a text.

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <tillvane/text/LStringURI.h>

#include "require.h"
#include "texts.h"

namespace {

using fuzz::Require;
using Writer = LFixedLengthStringWriterTemplate<char>;

std::string Encoded(const std::string& text) {
  std::string encoded;
  for (const char c : text) {
    const bool is_ascii = static_cast<unsigned char>(c) < 0x80;
    if (is_ascii && (std::isalnum(c) != 0 || std::strchr("-!._~", c) != nullptr)) {
      encoded += c;
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", static_cast<unsigned int>(static_cast<unsigned char>(c)));
      encoded += escape;
    }
  }
  return encoded;
}

void CheckEncoding(const std::string& text, unsigned int room) {
  const fuzz::Buffer from(text);
  fuzz::Buffer out(room);
  Writer writer{out.Get(), 0, room};
  LURIEncodeToWriterDirect(writer, from.Get());
  std::string expected = Encoded(text).substr(0, room);
  Require(writer.length == expected.size(), "as much is written as fits");
  expected.resize(room, '#');
  Require(out.Bytes() == expected, "the text is encoded, and nothing is written behind it");
}

std::string WithoutItem(const std::string& key, const std::string& query) {
  const std::string pattern = (key + '=').substr(0, 261);
  const std::size_t match = query.find(pattern);
  if (match == std::string::npos) return query;
  const std::size_t end = std::min(query.find('&', match + pattern.size()), query.size());
  const std::size_t begin = match > 0 && query[match - 1] == '&' ? match - 1 : match;
  return query.substr(0, begin) + query.substr(end);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const unsigned int room = input.Number();
  const std::string key = input.Text(), text = input.Text();
  CheckEncoding(text, room);
  CheckEncoding(key, 3 * room);
  const fuzz::Buffer name(key);
  fuzz::Buffer query(text);
  LRemoveHTTPItem(name.Get(), query.Get());
  Require(query.Get() == WithoutItem(key, text), "the item is removed");
  return 0;
}
