#pragma once

#include <array>
#include <cstddef>
#include <cstring>

namespace support {

/// Where a virtual function stands in the table, by the C++ ABI that all our systems share: a pointer to a virtual
/// member holds its offset, marked by the lowest bit of the one word or, on ARM, of the other.
template <class Member>
long SlotOf(Member member) {
  std::array<std::ptrdiff_t, 2> words;
  static_assert(sizeof words == sizeof member);
  std::memcpy(words.data(), &member, sizeof words);
  if ((words[0] & 1) == 0 && (words[1] & 1) == 0) return -1;
  return static_cast<long>((words[0] & ~std::ptrdiff_t{1}) / static_cast<std::ptrdiff_t>(sizeof(void*)));
}

}  // namespace support
