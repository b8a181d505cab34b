#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string_view>

#include <tillvane/platform/file_object.h>
#include <tillvane/platform/mac/core_foundation_mac.h>
#include <tillvane/platform/mac/file_reference_mac.h>

namespace platform {

namespace {

constexpr mode_t kPermissionBits = 07777;

int FailWith(int error) {
  errno = error;
  return -1;
}

/// What the File Manager means, as the rest of the system says it.
int ErrorOf(OSStatus status) {
  switch (status) {
    case dirNFErr:
    case fnfErr:
    case nsvErr:
      return ENOENT;
    case afpAccessDenied:
    case fLckdErr:
    case permErr:
    case wrPermErr:
      return EACCES;
    case vLckdErr:
    case wPrErr:
      return EROFS;
    case bdNamErr:
      return EINVAL;
    case dskFulErr:
      return ENOSPC;
    case dupFNErr:
      return EEXIST;
    case fBsyErr:
      return EBUSY;
    case memFullErr:
      return ENOMEM;
    default:
      return status > kPOSIXErrorBase ? status - kPOSIXErrorBase : EIO;
  }
}

bool IsSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Of paths without links.
bool IsInside(const std::string& folder, const std::string& tree) {
  return (folder + '/').starts_with(tree.ends_with('/') ? tree : tree + '/');
}

struct Place {
  std::string folder;
  std::string name;
};

Place PlaceOf(std::string_view path) {
  while (path.size() > 1 && path.ends_with('/')) path.remove_suffix(1);
  const std::size_t name = path.rfind('/') + 1;
  return {name == 0 ? "." : std::string(path.substr(0, name)), std::string(path.substr(name))};
}

bool IsName(const std::string& name) { return !name.empty() && name != "." && name != ".."; }

/// By the one call that does files and folders, with all that is kept beside their bytes, over what is there.
/// \param name as the system writes it
int CopyTo(const std::string& source, const std::string& folder, std::string name) {
  // The File Manager's separator is the colon, so that a slash is what a colon is elsewhere.
  std::replace(name.begin(), name.end(), ':', '/');
  const OwnedObject<CFStringRef> native(
      CFStringCreateWithCString(kCFAllocatorDefault, name.c_str(), kCFStringEncodingUTF8));
  if (!native) return FailWith(EILSEQ);
  FSRef from, to;
  OSStatus status = MakeReference(source, &from);
  if (status == noErr) status = MakeReference(folder, &to);
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  if (status == noErr) status = FSCopyObjectSync(&from, &to, native.get(), nullptr, kFSFileOperationOverwrite);
#pragma clang diagnostic pop
  return status == noErr ? 0 : FailWith(ErrorOf(status));
}

/// What is now at a path where there was nothing, or something else, goes.
void DeleteNew(const char* path, const struct stat* before) {
  struct stat now;
  const int error = errno;
  if (lstat(path, &now) == 0 && (before == nullptr || !IsSame(now, *before))) unlink(path);
  errno = error;
}

}  // namespace

int CopyObject(const char* source, const char* destination) {
  struct stat from, before;
  if (stat(source, &from) != 0) return -1;
  if (destination == nullptr) return FailWith(EFAULT);
  const bool is_folder = S_ISDIR(from.st_mode);
  if (!is_folder && !S_ISREG(from.st_mode)) return FailWith(EOPNOTSUPP);
  const bool was_there = lstat(destination, &before) == 0;
  // What is there would go before it is seen that it is in use, or that it is a folder full of files.
  if (was_there && IsSame(from, before)) return FailWith(EINVAL);
  if (was_there && is_folder != S_ISDIR(before.st_mode)) return FailWith(is_folder ? ENOTDIR : EISDIR);
  const auto [folder, name] = PlaceOf(destination);
  if (!IsName(name)) return FailWith(EINVAL);
  const std::string real_source = RealPath(source), real_folder = RealPath(folder.c_str());
  if (real_source.empty() || real_folder.empty()) return -1;
  if (is_folder && IsInside(real_folder, real_source)) return FailWith(EINVAL);
  if (CopyTo(real_source, real_folder, name) != 0) {
    if (!is_folder) DeleteNew(destination, was_there ? &before : nullptr);
    return -1;
  }
  // A file system without permission bits has a copy all the same.
  chmod(destination, from.st_mode & kPermissionBits);
  return 0;
}

}  // namespace platform
