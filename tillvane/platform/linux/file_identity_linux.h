#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>

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

/// Finds files that may have other names by now. A folder is read once, for all that is asked of it: this should live
/// no longer than the questions belong together. One thread.
class PresentPaths {
 public:
  /// Where a file is now, which was at this path once: still there, or in the same folder by another name. Without a
  /// time of birth nobody could tell it from another one, and the folder is not searched.
  /// \return empty when it is not to be found
  std::string Of(const std::string& path, const FileIdentity& identity);

 private:
  /// Of one device: a file's number, and when it was born.
  using Key = std::tuple<std::uint64_t, std::int64_t, std::uint32_t>;
  using Names = std::map<Key, std::string>;

  static Key KeyOf(const FileIdentity& identity);
  static Names Read(const std::string& folder);
  const Names& In(const std::string& folder);

  std::map<std::string, Names> folders_;
  std::size_t count_ = 0;  ///< of all names
};

}  // namespace platform
