#pragma once

#include <sys/types.h>

#include <cstddef>

namespace platform {

/// A way to copy bytes from one open file to another, at least one where there is one.
/// \return how many, 0 at the source's end, -1 with errno
using CopyStep = ssize_t (*)(int from, int to, std::size_t size);

/// The way that works everywhere. An interruption is no error.
ssize_t CopyThroughMemory(int from, int to, std::size_t size);

/// CopyBytes, step by step, and nothing of holes.
unsigned long CopyInSteps(CopyStep step, int from, int to, unsigned long size);

}  // namespace platform
