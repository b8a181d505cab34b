#pragma once

#include <string>

namespace platform {

/// The login name of the user's account, empty when the user has none.
std::string AccountName();

}  // namespace platform
