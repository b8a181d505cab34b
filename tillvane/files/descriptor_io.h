#pragma once

#include <unistd.h>

#include <cstddef>

namespace files {

constexpr int kNoDescriptor = -1;

/// One `read`; -1 without a call where there is no descriptor.
inline ssize_t ReadOnce(int descriptor, void* buffer, std::size_t size) {
  return descriptor != kNoDescriptor ? read(descriptor, buffer, size) : -1;
}

/// One `write`; -1 without a call where there is no descriptor.
inline ssize_t WriteOnce(int descriptor, const void* bytes, std::size_t size) {
  return descriptor != kNoDescriptor ? write(descriptor, bytes, size) : -1;
}

/// One `lseek`; -1 without a call where there is no descriptor.
inline off_t SeekOnce(int descriptor, off_t offset, int from) {
  return descriptor != kNoDescriptor ? lseek(descriptor, offset, from) : -1;
}

/// The bytes that a call has moved: none when it failed.
inline std::size_t Moved(ssize_t result) { return result > 0 ? static_cast<std::size_t>(result) : 0; }

}  // namespace files
