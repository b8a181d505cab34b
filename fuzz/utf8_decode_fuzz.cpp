#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <tests/support/utf8_reference.h>
#include <tillvane/text/utf8_paths.h>

#include "require.h"

/// \file
/// The input is a number of two bytes, the lower one first, and a text up to its first 0, at most 500 bytes: it is
/// decoded, measured and cut on every path, with the number as size and index, and must give what the reference gives.
/// Memory ends where the text and its destinations end.

namespace {

using support::Utf8Answer;
using support::Utf8Reference;

void Require(bool holds, const char* what, const text::Utf8Path& path) {
  if (!holds) std::fprintf(stderr, "on the path %s:\n", path.name);
  fuzz::Require(holds, what);
}

template <class Unit>
void CheckDecoding(const text::Utf8Path& path, const char* source, std::size_t size, const Utf8Answer& expected) {
  const auto buffer = std::make_unique<Unit[]>(size);
  Require(text::DecodeUtf8(path, buffer.get(), source, size) == expected.status, "another answer", path);
  for (std::size_t i = 0; i < expected.text.size(); ++i) {
    Require(buffer[i] == static_cast<Unit>(expected.text[i]), "another unit", path);
  }
  Require(buffer[expected.text.size()] == 0, "no terminator", path);
}

void CheckMeasuring(const text::Utf8Path& path, const char* source, std::size_t index, const Utf8Reference& reference) {
  Require(text::CharactersInBytes(path, source, index) == reference.ByteToChar(index), "another character", path);
  Require(text::BytesOfCharacters(path, source, index) == reference.CharToByte(index), "another byte", path);
  const std::string cut = reference.Cut(index);
  const auto buffer = std::make_unique<char[]>(std::max<std::size_t>(index, 1));
  Require(text::CopyCharacters(path, buffer.get(), source, index) == cut.size(), "another length", path);
  Require(cut == buffer.get(), "another cut", path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const char* const bytes = reinterpret_cast<const char*>(data) + 2;
  const std::string source(bytes, strnlen(bytes, std::min<std::size_t>(size - 2, 500)));
  const std::size_t number = (data[0] + 256u * data[1]) % (source.size() + 8);
  const auto exact = std::make_unique<char[]>(source.size() + 1);
  source.copy(exact.get(), source.size());
  const Utf8Reference reference(source);
  for (const text::Utf8Path& path : text::Utf8Paths()) {
    for (const std::size_t bound : {number + 1, source.size() + 1}) {
      CheckDecoding<wchar_t>(path, exact.get(), bound, reference.Decode(bound));
      CheckDecoding<unsigned short>(path, exact.get(), bound, reference.Decode(bound));
      CheckMeasuring(path, exact.get(), bound - 1, reference);
    }
  }
  return 0;
}
