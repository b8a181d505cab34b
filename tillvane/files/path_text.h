#pragma once

#include <algorithm>
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

/// Makes an output of so many characters, or of those that fit. They may lie in the output.
inline void StorePath(char* out, const char* characters, std::size_t length) {
  length = std::min(length, kPathLength);
  std::memmove(out, characters, length);
  out[length] = '\0';
}

}  // namespace files
