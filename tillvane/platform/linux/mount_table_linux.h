#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// What the kernel tells of the mounted file systems.

namespace platform {

/// One mount. Its texts are as they are, without the escapes of the table.
struct Mount {
  std::uint64_t id = 0;
  std::uint64_t parent = 0;  ///< the mount on which it stands; often one that is not told
  unsigned int major = 0;    ///< of its device; 0 when the file system has a number but no device
  unsigned int minor = 0;
  std::string point;   ///< where it is seen from the process's root
  std::string type;    ///< of the file system, perhaps with a dot and a subtype
  std::string source;  ///< whatever was mounted: a device's path, a server's address, any text
};

using MountTable = std::vector<Mount>;

/// Reads the text of /proc/PID/mountinfo; lines that are not such ones are left out.
///
///     36 35 98:0 / /mnt rw,noatime master:1 - ext3 /dev/root rw,errors=continue
///     id parent major:minor root point options [tag…] - type source options
///
/// Exactly one space parts two fields, so that a field may be empty: whoever mounts chooses most of them. In texts a
/// blank, a line's end, a backslash and others are a backslash and three octal digits.
MountTable ParseMountTable(std::string_view text);

/// The mounts as the calling thread sees them; none when the system does not tell.
MountTable ReadMountTable();

/// \return null when there is none
const Mount* FindMount(const MountTable& table, std::uint64_t id);

/// What there is to tell of the mount that the process's root is in when the table does not tell of it: after chroot,
/// where the root is no mount point. Its file system is that of another mount of the same device; without one its type
/// and source are empty.
/// \return nothing when the table tells of the root
std::optional<Mount> MakeRootMount(const MountTable& table, std::uint64_t id, unsigned int major, unsigned int minor);

}  // namespace platform
