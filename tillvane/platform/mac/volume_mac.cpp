#include <tillvane/platform/volume.h>

#include <sys/mount.h>
#include <sys/param.h>

#include <cstddef>
#include <optional>

#include <tillvane/platform/mac/file_reference_mac.h>

// Nothing else tells on which bus a drive is by one call, nor the numbers of file systems.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace platform {

namespace {

static_assert(kVolumeIsOnInternalBus == 1u << bIsOnInternalBus && kVolumeIsRemovable == 1u << bIsRemovable &&
              kVolumeIsOnExternalBus == 1u << bIsOnExternalBus);

/// The folder of servers: it has no name in the system's headers.
constexpr OSType kServersFolder = 0x737276C4;

std::optional<FSVolumeRefNum> VolumeOf(const char* path) {
  const std::string real = RealPath(path);
  FSRef reference;
  FSCatalogInfo info = {};
  if (real.empty() || MakeReference(real, &reference) != noErr ||
      FSGetCatalogInfo(&reference, kFSCatInfoVolume, &info, nullptr, nullptr, nullptr) != noErr) {
    return std::nullopt;
  }
  return info.volume;
}

using Status = struct statfs;

/// \return empty when the query fails
template <std::size_t size>
std::string TextOfVolume(const char* path, char (Status::*text)[size]) {
  Status status;
  return statfs(path, &status) == 0 ? status.*text : std::string();
}

}  // namespace

unsigned int VolumeAttributes(const char* path) {
  const std::optional<FSVolumeRefNum> volume = VolumeOf(path);
  // What an older file system does not fill in.
  GetVolParmsInfoBuffer parameters = {};
  const bool is_told = volume && FSGetVolumeParms(*volume, &parameters, sizeof parameters) == noErr;
  return is_told ? static_cast<unsigned int>(parameters.vMExtendedAttributes) : 0;
}

unsigned short VolumeFileSystemID(const char* path) {
  const std::optional<FSVolumeRefNum> volume = VolumeOf(path);
  FSVolumeInfo info = {};
  const bool is_told =
      volume && FSGetVolumeInfo(*volume, 0, nullptr, kFSVolInfoFSInfo, &info, nullptr, nullptr) == noErr;
  return is_told ? info.filesystemID : kNoFileSystemID;
}

std::string VolumeFileSystemName(const char* path) { return TextOfVolume(path, &Status::f_fstypename); }

std::string VolumeMountPoint(const char* path) { return TextOfVolume(path, &Status::f_mntonname); }

int FindMountedDrivesFolder(std::string* folder) {
  FSRef reference;
  const OSStatus found = FSFindFolder(kOnSystemDisk, kServersFolder, false, &reference);
  if (found != noErr) return found;
  char path[260];
  const OSStatus told = FSRefMakePath(&reference, reinterpret_cast<UInt8*>(path), sizeof path);
  if (told == noErr) *folder = path;
  return told;
}

}  // namespace platform
