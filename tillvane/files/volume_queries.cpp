#include <string>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>
#include <tillvane/files/volume_rules.h>
#include <tillvane/platform/volume.h>

unsigned int LFile::GetVolumeAttributes(const char* path) { return platform::VolumeAttributes(path); }

bool LFile::IsOnExternalDrive(const char* path) { return files::IsExternal(GetVolumeAttributes(path)); }

bool LFile::IsOnRemovableMedia(const char* path) { return files::IsRemovable(GetVolumeAttributes(path)); }

bool LFile::IsNetworkPath(const char* path) { return files::IsNetwork(GetVolumeAttributes(path)); }

unsigned short LFile::GetVolumeFileSystemID(const char* path) { return platform::VolumeFileSystemID(path); }

bool LFile::IsOnLocalDrive(const char* path) {
  return files::IsLocal(GetVolumeFileSystemID(path), GetVolumeAttributes(path));
}

int LFile::GetVolumeFileSizeLimit(const char* path) {
  return files::SizeLimitOf(platform::VolumeFileSystemName(path).c_str());
}

void LFile::GetHumanReadableDriveFromPath(char* out, const char* path) {
  const std::string mount_point = platform::VolumeMountPoint(path);
  if (mount_point.empty()) {
    files::DriveOfPathText(out, path);
  } else {
    files::StorePath(out, mount_point.data(), mount_point.size());
  }
}

int LFile::GetMountedDrivesFolder(char* out) {
  std::string folder = "/Volumes";
  const int status = platform::FindMountedDrivesFolder(&folder);
  files::StorePath(out, folder.data(), folder.size());
  return status;
}

int LFile::GetNetworkSharesFolder(char* out) { return GetMountedDrivesFolder(out); }
