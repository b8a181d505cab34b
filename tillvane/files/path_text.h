#pragma once

#include <cstddef>
#include <cstring>

/// \file
/// What all operations on paths have in common.

namespace files {

/// Of a path's buffer, with the terminator.
constexpr std::size_t kPathSize = 260;
/// Of what fits in it.
constexpr std::size_t kPathLength = kPathSize - 1;

constexpr bool IsSeparator(char c) { return c == '/' || c == '\\'; }

/// The path's length, as far as it fits in a path's buffer.
inline std::size_t FittingLength(const char* path) { return strnlen(path, kPathLength); }

/// The index after the last separator among the first `length` characters, 0 when there is none.
inline std::size_t FileBegin(const char* path, std::size_t length) {
  while (length > 0 && !IsSeparator(path[length - 1])) --length;
  return length;
}

/// Makes an output of so many characters, at most what fits. They may lie in the output.
inline void StorePath(char* out, const char* characters, std::size_t length) {
  if (length > kPathLength) length = kPathLength;
  std::memmove(out, characters, length);
  out[length] = '\0';
}

}  // namespace files
