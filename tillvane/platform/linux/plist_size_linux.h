#pragma once

#include <string_view>

namespace platform {

bool IsBinaryPlist(std::string_view data);

/// Whether what libplist would make of this property list has a modest size: it reads, and releases, what is nested by
/// functions that call themselves, and reads anew each time what a binary list refers to several times. Says nothing
/// else about whether it can be read.
bool IsPlistModest(std::string_view data);

}  // namespace platform
