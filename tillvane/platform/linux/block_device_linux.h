#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

/// \file
/// Block devices by their numbers, as /sys and udev's database have them. None is opened: a disk that sleeps sleeps on.

namespace platform {

/// The attributes of the volume on which a file lies; nothing when that is not known.
using FileAttributesQuery = std::function<std::optional<unsigned int>(const std::string& path)>;

/// The attributes of a volume on this device, in the bits of volume.h. Partitions, logical volumes, encryption, RAID
/// and loop devices are followed to the disks: the volume is internal when all of them are, and removable when one is.
/// \param of_file asked about the file behind a loop device
unsigned int BlockDeviceAttributes(dev_t device, const FileAttributesQuery& of_file);

/// The attributes of a btrfs volume, of which this device is one.
unsigned int BtrfsAttributes(dev_t device, const FileAttributesQuery& of_file);

/// What udev read of the file system's version: "FAT32", "1.0"; empty when it read none.
std::string FileSystemVersion(dev_t device);

}  // namespace platform
