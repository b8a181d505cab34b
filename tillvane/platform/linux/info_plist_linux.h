#pragma once

/// \file
/// An application's information dictionary, as it lies in a file: a property list in XML or in its binary form.

#include <cstddef>
#include <string>
#include <string_view>

namespace platform {

/// A larger one is not read, bytes.
inline constexpr std::size_t kMaximumInfoPlist = std::size_t{1024} * 1024;

/// A text of the dictionary, UTF-8; empty where there is none: no such key, a value that is no text, no property list,
/// or one that would take too much to be read.
std::string InfoPlistText(std::string_view data, const char* key);

}  // namespace platform
