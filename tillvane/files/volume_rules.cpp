#include <tillvane/files/volume_rules.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <iterator>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>
#include <tillvane/platform/volume.h>
#include <tillvane/text/LStringUtilities.h>

namespace files {

bool IsExternal(unsigned int attributes) { return (attributes & platform::kVolumeIsOnInternalBus) == 0; }

bool IsRemovable(unsigned int attributes) {
  return IsExternal(attributes) || (attributes & platform::kVolumeIsRemovable) != 0;
}

bool IsNetwork(unsigned int attributes) {
  constexpr unsigned int local =
      platform::kVolumeIsOnInternalBus | platform::kVolumeIsOnExternalBus | platform::kVolumeIsRemovable;
  return (attributes & local) == 0;
}

bool IsLocal(unsigned short file_system, unsigned int attributes) {
  if (file_system == platform::kNoFileSystemID) return true;
  const auto& network = platform::kNetworkFileSystemIDs;
  return !IsNetwork(attributes) && std::find(std::begin(network), std::end(network), file_system) == std::end(network);
}

SizeLimit SizeLimitOf(const char* file_system) {
  // Everything else, exFAT and NTFS among it, has no limit that matters.
  static constexpr struct {
    const char* name;
    SizeLimit limit;
  } limited[] = {{"FAT32", kSizeLimitOfFAT32},
                 {"FAT16B", kSizeLimitOfFAT32},
                 {"FAT16", kSizeLimitOfFAT16},
                 {"FAT12", kSizeLimitOfFAT16},
                 {"FAT", kSizeLimitOfFAT16}};
  char name[kPathSize];
  StorePath(name, file_system, FittingLength(file_system));
  strupr(name);
  for (const auto& kind : limited) {
    if (std::strcmp(name, kind.name) == 0) return kind.limit;
  }
  return kNoSizeLimit;
}

void DriveOfPathText(char* out, const char* path) {
  std::size_t length = 0;
  while (length < kPathLength && LFileIsLetterOrNumber(path[length]) != 0) ++length;
  if (length == 0) {
    StorePath(out, "/", path[0] == '/' ? 1 : 0);
    return;
  }
  StorePath(out, path, length);
  std::strncat(out, ":\\", kPathLength - length);
}

}  // namespace files
