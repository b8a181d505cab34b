#include <tillvane/platform/file_spec.h>

#include <CoreServices/CoreServices.h>
#include <sys/fsgetpath.h>
#include <sys/mount.h>

#include <algorithm>
#include <climits>
#include <cstdint>

#include <tillvane/platform/mac/core_foundation_mac.h>
#include <tillvane/platform/native_string.h>
#include <tillvane/platform/native_url.h>

// The File Manager is deprecated as a whole; nothing else knows the numbers that a specification consists of.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

namespace platform {

namespace {

bool GetInfo(const FSRef& file, FSCatalogInfoBitmap wanted, FSCatalogInfo& info, HFSUniStr255* name) {
  return FSGetCatalogInfo(&file, wanted, &info, name, nullptr, nullptr) == noErr;
}

/// \return false when the name does not fit
bool Fill(FSSpec& spec, FSVolumeRefNum volume, UInt32 folder, CFStringRef name) {
  spec.vRefNum = volume;
  spec.parID = static_cast<SInt32>(folder);
  return name != nullptr && CFStringGetPascalString(name, spec.name, sizeof spec.name, kCFStringEncodingUTF8) &&
         spec.name[0] != 0;
}

bool SpecifyFound(const FSRef& file, FSSpec& spec) {
  FSCatalogInfo info;
  HFSUniStr255 name;
  if (!GetInfo(file, kFSCatInfoVolume | kFSCatInfoParentDirID, info, &name)) return false;
  const OwnedObject<CFStringRef> text(StringFromUnits(name.unicode, name.length));
  return Fill(spec, info.volume, info.parentDirID, text.get());
}

/// What is not there, in a folder that is.
bool SpecifyMissing(const char* path, FSSpec& spec) {
  const OwnedObject<CFStringRef> text(StringFromUTF8(path));
  const OwnedObject<CFURLRef> url(text != nullptr ? URLFromFileSystemPath(text.get(), false) : nullptr);
  if (url == nullptr) return false;
  const OwnedObject<CFURLRef> parent(CFURLCreateCopyDeletingLastPathComponent(kCFAllocatorDefault, url.get()));
  FSRef folder;
  FSCatalogInfo info;
  if (parent == nullptr || !CFURLGetFSRef(parent.get(), &folder)) return false;
  if (!GetInfo(folder, kFSCatInfoNodeFlags | kFSCatInfoVolume | kFSCatInfoNodeID, info, nullptr)) return false;
  if ((info.nodeFlags & kFSNodeIsDirectoryMask) == 0) return false;
  const OwnedObject<CFStringRef> name(CFURLCopyLastPathComponent(url.get()));
  return Fill(spec, info.volume, info.nodeID, name.get());
}

/// \return empty when there is no such volume
std::string VolumePath(FSVolumeRefNum volume) {
  FSRef root;
  char path[PATH_MAX];
  if (FSGetVolumeInfo(volume, 0, nullptr, kFSVolInfoNone, nullptr, nullptr, &root) != noErr) return {};
  if (FSRefMakePath(&root, reinterpret_cast<UInt8*>(path), sizeof path) != noErr) return {};
  return path;
}

/// \return empty when the volume has none, or does not tell
std::string FolderPath(const std::string& volume, SInt32 number) {
  struct statfs status;
  char path[PATH_MAX];
  if (statfs(volume.c_str(), &status) != 0) return {};
  if (fsgetpath(path, sizeof path, &status.f_fsid, static_cast<std::uint32_t>(number)) < 0) return {};
  return path;
}

}  // namespace

bool MakeFileSpec(const char* path, FSSpec* spec) {
  FSSpec made = {};
  FSRef file;
  const bool is_there = FSPathMakeRef(reinterpret_cast<const UInt8*>(path), &file, nullptr) == noErr;
  const bool is_made = is_there ? SpecifyFound(file, made) : SpecifyMissing(path, made);
  if (is_made) *spec = made;
  return is_made;
}

std::string FileSpecPath(const FSSpec& spec) {
  const std::string volume = VolumePath(spec.vRefNum);
  // A volume's root lies nowhere, and its name is not its folder's.
  if (spec.parID == fsRtParID) return volume;
  std::string path = FolderPath(volume, spec.parID);
  if (path.empty()) return {};
  if (!path.ends_with('/')) path += '/';
  std::string name(reinterpret_cast<const char*>(spec.name) + 1, spec.name[0]);
  // The File Manager writes a name's colon as what separates names in a path.
  std::replace(name.begin(), name.end(), '/', ':');
  return path += name;
}

}  // namespace platform
