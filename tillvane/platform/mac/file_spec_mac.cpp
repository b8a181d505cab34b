#include <tillvane/platform/file_spec.h>

#include <CoreServices/CoreServices.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <string>

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

#pragma pack(push, 2)
/// What a specification consists of. On 64 bits the system tells only how long it is.
struct Specification {
  SInt16 volume;
  SInt32 folder;
  unsigned char name[64];  ///< Its length, then so many bytes.
};
#pragma pack(pop)
static_assert(sizeof(Specification) == sizeof(FSSpec));

/// \param name as the File Manager writes it, with a slash where a path has a colon
/// \return false when it does not fit
bool Fill(FSSpec& spec, FSVolumeRefNum volume, UInt32 folder, const std::string& name) {
  Specification made = {volume, static_cast<SInt32>(folder), {}};
  if (name.empty() || name.size() >= sizeof made.name) return false;
  made.name[0] = static_cast<unsigned char>(name.size());
  std::copy(name.begin(), name.end(), made.name + 1);
  std::memcpy(&spec, &made, sizeof spec);
  return true;
}

bool SpecifyFound(const FSRef& file, FSSpec& spec) {
  FSCatalogInfo info;
  HFSUniStr255 name;
  if (!GetInfo(file, kFSCatInfoVolume | kFSCatInfoParentDirID, info, &name)) return false;
  const OwnedObject<CFStringRef> text(StringFromUnits(name.unicode, name.length));
  return Fill(spec, info.volume, info.parentDirID, PlainText(text.get()));
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
  const OwnedObject<CFStringRef> last(CFURLCopyLastPathComponent(url.get()));
  std::string name = PlainText(last.get());
  std::replace(name.begin(), name.end(), ':', '/');
  return Fill(spec, info.volume, info.nodeID, name);
}

/// \return empty when the system does not tell it
std::string PathOf(const FSRef& file) {
  char path[PATH_MAX];
  return FSRefMakePath(&file, reinterpret_cast<UInt8*>(path), sizeof path) == noErr ? path : std::string();
}

/// \return empty when there is no such volume
std::string VolumePath(FSVolumeRefNum volume) {
  FSRef root;
  const OSErr status = FSGetVolumeInfo(volume, 0, nullptr, kFSVolInfoNone, nullptr, nullptr, &root);
  return status == noErr ? PathOf(root) : std::string();
}

/// \return empty when there is no such folder, or the volume does not find it by its number
std::string FolderPath(FSVolumeRefNum volume, SInt32 number) {
  FSRef folder;
  const OSStatus status = FSResolveNodeID(volume, static_cast<UInt32>(number), &folder);
  return status == noErr ? PathOf(folder) : std::string();
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
  Specification told;
  std::memcpy(&told, &spec, sizeof told);
  // A volume's root lies nowhere, and its name is not its folder's.
  if (told.folder == fsRtParID) return VolumePath(told.volume);
  std::string path = FolderPath(told.volume, told.folder);
  const std::size_t length = told.name[0];
  if (path.empty() || length >= sizeof told.name) return {};
  if (!path.ends_with('/')) path += '/';
  std::string name(told.name + 1, told.name + 1 + length);
  std::replace(name.begin(), name.end(), '/', ':');
  return path += name;
}

}  // namespace platform
