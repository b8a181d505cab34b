#pragma once

#include <string>
#include <string_view>

namespace platform {

/// The folder that a text of the form of `user-dirs.dirs` gives a name: the last line that does.
/// \param name for example "DOWNLOAD"
/// \param home absolute, what "$HOME" stands for
/// \return absolute, without a slash at its end; empty when there is none
std::string UserDirectoryOf(std::string_view text, std::string_view name, const std::string& home);

}  // namespace platform
