#include <tillvane/platform/native_url.h>

#include <CoreServices/CoreServices.h>

#include <tillvane/platform/mac/core_foundation_mac.h>

namespace platform {

namespace {

/// \param url released here
CFURLRef Absolute(CFURLRef url) {
  const OwnedObject<CFURLRef> owned(url);
  return url != nullptr ? CFURLCopyAbsoluteURL(url) : nullptr;
}

}  // namespace

CFURLRef URLFromFileSystemPath(CFStringRef path, bool is_folder) {
  if (CFStringGetLength(path) == 0) return nullptr;
  return CFURLCreateWithFileSystemPath(kCFAllocatorDefault, path, kCFURLPOSIXPathStyle, is_folder);
}

CFURLRef MainBundleURL() {
  const CFBundleRef bundle = CFBundleGetMainBundle();
  return bundle != nullptr ? Absolute(CFBundleCopyBundleURL(bundle)) : nullptr;
}

CFURLRef MainBundleResourcesURL() {
  const CFBundleRef bundle = CFBundleGetMainBundle();
  return bundle != nullptr ? Absolute(CFBundleCopyResourcesDirectoryURL(bundle)) : nullptr;
}

CFStringRef URLFileSystemPath(CFURLRef url) { return CFURLCopyFileSystemPath(url, kCFURLPOSIXPathStyle); }

bool IsURLOfSomething(CFURLRef url) {
  FSRef file;
#pragma clang diagnostic push
  // It looks where nothing but the File Manager does.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  return CFURLGetFSRef(url, &file) != 0;
#pragma clang diagnostic pop
}

bool IsURLOfFolder(CFURLRef url) { return CFURLHasDirectoryPath(url) != 0; }

void ReleaseURL(CFURLRef url) {
  if (url != nullptr) CFRelease(url);
}

}  // namespace platform
