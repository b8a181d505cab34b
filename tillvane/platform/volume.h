#pragma once

/// \file
/// Where a path lives: the volume that holds it. Paths are terminated bytes as the system takes them; links are
/// followed, and a relative path starts in the current directory. Texts are bytes as the system has them.
///
/// A query fails where there is nothing at the path, or where the system does not tell. Where the system knows its
/// network volumes by their paths alone, what lies on one is not looked for, so that a server that is gone holds up
/// nobody: there, every path counts as one that exists.
/// Nothing is kept between calls. Any thread. Where memory is missing std::bad_alloc may leave.

#include <string>

namespace platform {

/// Bits of a volume's attributes. A network volume has none of them.
inline constexpr unsigned int kVolumeIsOnInternalBus = 1u << 21;
inline constexpr unsigned int kVolumeIsRemovable = 1u << 25;
inline constexpr unsigned int kVolumeIsOnExternalBus = 1u << 27;

/// \return bits from above, perhaps with others; 0 when the query fails
unsigned int VolumeAttributes(const char* path);

inline constexpr unsigned short kNoFileSystemID = 0xFFFF;
/// What file systems have that are a network's although they need not look like one.
inline constexpr unsigned short kNetworkFileSystemIDs[] = {0x4A48, 0x6375};

/// A number for the kind of file system.
/// \return kNoFileSystemID when the query fails
unsigned short VolumeFileSystemID(const char* path);

/// The name of the kind of file system, with FAT12, FAT16 and FAT32 told apart where the system does.
/// \return empty when the query fails
std::string VolumeFileSystemName(const char* path);

/// The path where the volume is mounted.
/// \return empty when the query fails
std::string VolumeMountPoint(const char* path);

/// Finds the folder in which drives and network shares appear when they are mounted.
/// \param folder is left alone on failure
/// \return 0, or the system's status when there is none
int FindMountedDrivesFolder(std::string* folder);

}  // namespace platform
