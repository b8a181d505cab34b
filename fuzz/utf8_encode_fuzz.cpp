#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <tests/support/utf8_reference.h>
#include <tillvane/text/utf8_paths.h>

#include "require.h"

/// \file
/// The input is a number of two bytes, the lower one first, and then numbers of 32 bits up to the first 0, at most 250:
/// they are encoded on every path, with the first number as size, and must give what the reference gives. What is good
/// text comes back when it is decoded.

namespace {

void Require(bool holds, const char* what, const text::Utf8Path& path) {
  if (!holds) std::fprintf(stderr, "on the path %s:\n", path.name);
  fuzz::Require(holds, what);
}

template <class Unit>
void CheckEncoding(const text::Utf8Path& path, const std::vector<std::int32_t>& values, std::size_t size) {
  const auto units = std::make_unique<Unit[]>(values.size() + 1);
  std::transform(values.begin(), values.end(), units.get(),
                 [](std::int32_t value) { return static_cast<Unit>(value); });
  std::string expected;
  const int answer = support::ReferenceEncode(values, size, &expected);
  const auto buffer = std::make_unique<char[]>(size);
  Require(text::EncodeUtf8(path, buffer.get(), units.get(), size) == answer, "another answer", path);
  Require(std::memcmp(buffer.get(), expected.data(), expected.size()) == 0, "other bytes", path);
  Require(buffer[expected.size()] == '\0', "no terminator", path);
}

bool IsCharacter(std::int32_t value) { return value > 0 && value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF); }

void CheckReturn(const text::Utf8Path& path, const std::vector<std::int32_t>& values) {
  std::string utf8(values.size() * 4 + 1, '\0');
  std::vector<wchar_t> wide(values.begin(), values.end());
  wide.push_back(0);
  Require(text::EncodeUtf8(path, utf8.data(), wide.data(), utf8.size()) == 0, "a refused text", path);
  std::vector<wchar_t> back(utf8.size());
  Require(text::DecodeUtf8(path, back.data(), utf8.data(), back.size()) == 0, "a text that does not come back", path);
  Require(std::equal(wide.begin(), wide.end(), back.begin()), "a text that comes back as another", path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  std::vector<std::int32_t> values(std::min<std::size_t>((size - 2) / sizeof(std::int32_t), 250));
  if (!values.empty()) std::memcpy(values.data(), data + 2, values.size() * sizeof(std::int32_t));
  values.erase(std::find(values.begin(), values.end(), 0), values.end());
  const std::size_t number = (data[0] + 256u * data[1]) % (values.size() * 4 + 8);
  std::vector<std::int32_t> units;
  for (const std::int32_t value : values) {
    if ((value & 0xFFFF) != 0) units.push_back(value & 0xFFFF);
  }
  for (const text::Utf8Path& path : text::Utf8Paths()) {
    CheckEncoding<wchar_t>(path, values, number + 1);
    CheckEncoding<wchar_t>(path, values, values.size() * 4 + 1);
    CheckEncoding<unsigned short>(path, units, number + 1);
    if (std::all_of(values.begin(), values.end(), IsCharacter)) CheckReturn(path, values);
  }
  return 0;
}
