#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace platform {

/// Which file it is, whatever its name: of a link, the link's own. Numbers of files are given again to others, but not
/// with the same time of birth.
struct FileIdentity {
  std::uint32_t device_major = 0, device_minor = 0;
  std::uint64_t inode = 0;
  bool has_birth = false;  ///< Not every file system knows it.
  std::int64_t birth_seconds = 0;
  std::uint32_t birth_nanoseconds = 0;

  bool operator==(const FileIdentity&) const = default;
};

/// \return none when nothing is there
std::optional<FileIdentity> IdentityOf(const std::string& path);

/// Where a file is now, which was at this path once: still there, or in the same folder by another name. Without a time
/// of birth nobody could tell it from another one, and the folder is not searched.
/// \return empty when it is not to be found
std::string PresentPathOf(const std::string& path, const FileIdentity& identity);

}  // namespace platform
