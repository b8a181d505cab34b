#pragma once

#include <optional>

#include <tillvane/platform/linux/mount_table_linux.h>

namespace platform {

/// The identifier of a mount's file system if that is a network's: one whose files are on another machine, a virtual
/// machine's host included. Only the mount table's texts are looked at.
/// \return nothing when it is a local one
std::optional<unsigned short> NetworkFileSystemID(const Mount& mount);

}  // namespace platform
