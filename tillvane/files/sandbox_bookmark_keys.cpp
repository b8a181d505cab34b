#include <tillvane/files/sandbox_bookmark_keys.h>

#include <string>

#include <tillvane/files/path_text.h>
#include <tillvane/text/LCharsets.h>
#include <tillvane/text/utf8_sequence.h>

namespace files {

namespace {

bool IsUTF8(const std::string& text) {
  const auto* at = reinterpret_cast<const unsigned char*>(text.c_str());
  while (*at != 0) {
    const unsigned int length = text::SequenceLength(*at);
    if (text::DecodeSequence(at, length) == text::kIllegal) return false;
    at += length;
  }
  return at == reinterpret_cast<const unsigned char*>(text.c_str()) + text.size();
}

}  // namespace

bool IsBookmarkKey(std::string_view key) { return !key.empty() && key != kBookmarkKeysKey && IsUTF8(std::string(key)); }

std::string CutBookmarkKey(const char* key) {
  char cut[kPathSize];
  return {cut, utf8strlcpy(cut, key, sizeof cut)};
}

}  // namespace files
