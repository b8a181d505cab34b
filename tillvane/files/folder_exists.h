#pragma once

#include <unistd.h>

/// \file
/// Whether there is something at a path.

namespace files {

inline bool FolderExists(const char* path) { return access(path, F_OK) == 0; }

}  // namespace files
