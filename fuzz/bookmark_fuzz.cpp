// Bookmarks of granted files. Input: whether the checksum is put right, then the bookmark.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tillvane/platform/linux/scoped_bookmark_linux.h>

#include "require.h"
#include "texts.h"

namespace {

using fuzz::Require;

/// So that what is behind the checksum is reached too.
void Seal(std::vector<unsigned char>* bytes) {
  std::uint32_t sum = 2166136261u;
  for (const unsigned char byte : *bytes) sum = static_cast<std::uint32_t>((sum ^ byte) * std::uint64_t{16777619});
  for (int i = 0; i < 4; ++i) bytes->push_back(static_cast<unsigned char>(sum >> (8 * i)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const bool is_sealed = input.Number() % 2 == 1;
  const std::string text = input.Rest();
  std::vector<unsigned char> bytes(text.begin(), text.end());
  if (is_sealed) Seal(&bytes);
  bytes.shrink_to_fit();
  const std::optional<platform::BookmarkRecord> record = platform::DecodeBookmark(bytes);
  if (!record) return 0;
  Require(record->path.starts_with('/') && record->path.size() < 4096, "a path is absolute and short enough");
  Require(record->path.find('\0') == std::string::npos, "a path is a text");
  Require(record->document.id.empty() == record->document.rest.empty(), "a document is whole");
  Require(record->document.id.empty() || platform::IsDocumentID(record->document.id), "an id is plain");
  Require(record->document.rest.size() < 4096, "what follows an id is short enough");
  Require(platform::EncodeBookmark(*record) == bytes, "what is made of it is the same again");
  return 0;
}
