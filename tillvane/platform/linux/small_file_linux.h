#pragma once

#include <cstddef>
#include <string>

namespace platform {

/// Reads a regular file until its end, or until there is more than it may hold. Opening it never waits.
/// \param most bytes that it may hold
/// \param text takes what was read behind what it holds: more than `most` bytes when the file is larger, no end of it
/// \return what is wrong, empty when nothing is
std::string ReadSmallFile(const std::string& path, std::size_t most, std::string* text);

/// The same with a file that is open for reading already, and stays open.
std::string ReadSmallFile(int file, std::size_t most, std::string* text);

}  // namespace platform
