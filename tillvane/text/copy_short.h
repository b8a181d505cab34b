#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace text {

template <class Block>
inline void CopyBothEnds(char* to, const char* from, std::size_t count) {
  Block head, tail;
  std::memcpy(&head, from, sizeof head);
  std::memcpy(&tail, from + count - sizeof tail, sizeof tail);
  std::memcpy(to, &head, sizeof head);
  std::memcpy(to + count - sizeof tail, &tail, sizeof tail);
}

/// memcpy for texts, most of which are short: then a call costs more than the copy. Two blocks that overlap in the
/// middle make any length.
inline void CopyShort(char* to, const char* from, std::size_t count) {
  struct Sixteen {
    std::uint64_t halves[2];
  };
  if (count > 32) {
    std::memcpy(to, from, count);
  } else if (count >= 16) {
    CopyBothEnds<Sixteen>(to, from, count);
  } else if (count >= 8) {
    CopyBothEnds<std::uint64_t>(to, from, count);
  } else if (count >= 4) {
    CopyBothEnds<std::uint32_t>(to, from, count);
  } else if (count != 0) {
    to[0] = from[0];
    to[count / 2] = from[count / 2];
    to[count - 1] = from[count - 1];
  }
}

/// The same for wider units.
template <class T>
inline void CopyShort(T* to, const T* from, std::size_t count) {
  std::copy_n(from, count, to);
}

}  // namespace text
