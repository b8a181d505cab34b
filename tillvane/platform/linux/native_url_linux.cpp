#include <tillvane/platform/native_url.h>

#include <string>

#include <tillvane/platform/linux/main_bundle_linux.h>
#include <tillvane/platform/main_bundle.h>
#include <tillvane/platform/native_string.h>
#include <tillvane/platform/string_array.h>

namespace platform {

struct NativeURL {
  std::string path;
  bool is_folder;
};

CFURLRef URLFromFileSystemPath(CFStringRef path, bool is_folder) {
  const std::string text = TextOfString(path);
  return text.empty() ? nullptr : new NativeURL{text, is_folder};
}

CFURLRef MainBundleURL() { return ExecutablePath().empty() ? nullptr : new NativeURL{MainBundlePath(), true}; }

CFURLRef MainBundleResourcesURL() {
  // Without an executable that could be told, the bundle would be the root folder.
  return ExecutablePath().empty() ? nullptr : new NativeURL{MainBundleResourcesPath(), true};
}

CFStringRef URLFileSystemPath(CFURLRef url) { return StringFromUTF8(url->path.c_str()); }

bool IsURLOfFolder(CFURLRef url) { return url->is_folder; }

void ReleaseURL(CFURLRef url) { delete url; }

}  // namespace platform
