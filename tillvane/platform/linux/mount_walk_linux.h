#pragma once

#include <optional>
#include <string>

#include <tillvane/platform/linux/mount_table_linux.h>

namespace platform {

/// Reads a symbolic link as readlink(2) does: its text, or nothing with errno, EINVAL for what is no link.
using LinkReader = std::optional<std::string> (*)(const std::string& path);

/// Where a path leads, as far as that can be told without waiting for a server.
struct WayToVolume {
  /// The volume, when the way there leads into a network mount; null when it does not.
  const Mount* mount = nullptr;
  /// Otherwise what to ask the kernel about; empty when there is nothing to ask, because nothing is there.
  std::string path;
};

/// Is there a mount that could wait for a server?
bool HasNetworkMount(const MountTable& table);

/// Follows a path through the mounts of a table, name by name, as the kernel does, symbolic links included; but within
/// a network mount every name counts as a folder that exists, and nothing there is looked at: what is mounted below it,
/// and the way out by '..', are told by their texts.
/// \param path absolute; what is not goes to the kernel as it is
WayToVolume FollowPath(const MountTable& table, const std::string& path, LinkReader read_link);

}  // namespace platform
