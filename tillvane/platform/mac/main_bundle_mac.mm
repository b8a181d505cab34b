#include <tillvane/platform/main_bundle.h>

#import <ApplicationServices/ApplicationServices.h>
#include <cstdlib>

#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/core_foundation_mac.h>
#include <tillvane/platform/native_string.h>
#include <tillvane/platform/native_url.h>

namespace platform {

std::string MainBundlePath() {
  const AutoreleasePool pool;
  return PlainText([[NSBundle mainBundle] bundlePath]);
}

std::string MainBundleResourcesPath() {
  const OwnedObject<CFURLRef> url(MainBundleResourcesURL());
  const OwnedObject<CFStringRef> path(url != nullptr ? URLFileSystemPath(url.get()) : nullptr);
  return PlainText(path.get());
}

std::string MainBundleName() {
  if (!IsMainBundleFolder()) return getprogname();
  const AutoreleasePool pool;
  return PlainText([[[[NSBundle mainBundle] bundlePath] lastPathComponent] stringByDeletingPathExtension]);
}

bool IsMainBundleFolder() {
  const ProcessSerialNumber current = {0, kCurrentProcess};
  FSRef bundle;
  FSCatalogInfo info;
#pragma clang diagnostic push
  // Nothing else tells a bundle from the folder that a bare executable lies in.
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
  return GetProcessBundleLocation(&current, &bundle) == noErr &&
         FSGetCatalogInfo(&bundle, kFSCatInfoNodeFlags, &info, nullptr, nullptr, nullptr) == noErr &&
         (info.nodeFlags & kFSNodeIsDirectoryMask) != 0;
#pragma clang diagnostic pop
}

CFBundleRef MainBundleReference() { return CFBundleGetMainBundle(); }

std::string BundleInformation(CFBundleRef bundle, const char* key) {
  const OwnedObject<CFStringRef> name(StringFromUTF8(key));
  if (bundle == nullptr || name == nullptr) return {};
  // The bundle's own, as long as the bundle is there.
  return PlainText(CFBundleGetValueForInfoDictionaryKey(bundle, name.get()));
}

}  // namespace platform
