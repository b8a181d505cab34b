#include <tillvane/platform/native_url.h>

#include <unistd.h>

#include <string>
#include <utility>

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

CFURLRef MainBundleURL() {
  std::string path = MainBundlePath();
  return path.empty() ? nullptr : new NativeURL{std::move(path), true};
}

CFURLRef MainBundleResourcesURL() {
  // Without an executable that could be told, the bundle would be the root folder.
  return ExecutablePath().empty() ? nullptr : new NativeURL{MainBundleResourcesPath(), true};
}

CFStringRef URLFileSystemPath(CFURLRef url) { return StringFromUTF8(url->path.c_str()); }

bool IsURLOfSomething(CFURLRef url) { return access(url->path.c_str(), F_OK) == 0; }

bool IsURLOfFolder(CFURLRef url) { return url->is_folder; }

void ReleaseURL(CFURLRef url) { delete url; }

}  // namespace platform
