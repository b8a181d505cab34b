#pragma once

/// \file
/// What is told of a mount, apart from how it is found.

#include <string>

#include <tillvane/platform/linux/mount_table_linux.h>

namespace platform {

/// Bits of volume.h.
unsigned int MountAttributes(const Mount& mount);

/// The mount's type; of a FAT volume "FAT12", "FAT16" or "FAT32" if udev knows.
std::string MountFileSystemName(const Mount& mount);

/// The first of ROOT/run/media/LOGIN, ROOT/media/LOGIN and ROOT/media that is a folder; empty when none is.
/// \param root empty for the system's own
std::string MountedDrivesFolderOf(const std::string& root, const std::string& login);

}  // namespace platform
