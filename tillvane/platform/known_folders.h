#pragma once

/// \file
/// Folders that the system knows for a user. Paths are absolute UTF-8 without a slash at the end. Any thread.

#include <string>

namespace platform {

/// The user's home.
std::string HomeFolder();

/// Where applications keep their data for this user. It is made, for the user alone, when it is missing; a failure
/// shows when the folder is used.
std::string ApplicationSupportFolder();

}  // namespace platform
