#pragma once

#include <CoreServices/CoreServices.h>

#include <string>

namespace platform {

/// A path that is absolute and has no links, of something that is there. \return empty with errno
std::string RealPath(const char* path);

/// What the File Manager has instead of a path.
/// \param path absolute
/// \return its status
OSStatus MakeReference(const std::string& path, FSRef* reference);

}  // namespace platform
