#include <memory>
#include <type_traits>

#include <tillvane/files/LFile.h>
#include <tillvane/platform/main_bundle.h>
#include <tillvane/platform/native_url.h>
#include <tillvane/system/LApplicationBundle.h>
#include <tillvane/system/LCFString.h>
#include <tillvane/system/LCFURL.h>

namespace {

constexpr unsigned long kPathSize = 260;

struct URLRelease {
  void operator()(CFURLRef url) const { platform::ReleaseURL(url); }
};

}  // namespace

void LGetBundleFolder(char* dest, unsigned long capacity) {
  if (capacity > 0) dest[0] = '\0';
  const std::unique_ptr<std::remove_pointer_t<CFURLRef>, URLRelease> bundle(platform::MainBundleURL());
  const LCFString path(bundle != nullptr ? platform::URLFileSystemPath(bundle.get()) : nullptr);
  path.GetString(dest, capacity);
}

void LGetInstalledApplicationResourcesFolder(char* dest, unsigned long capacity) {
  if (capacity > 0) dest[0] = '\0';
  LCFURL folder;
  folder.CreateFromApplicationBundleResourcesFolder();
  folder.GetPath(dest, capacity);
}

void LGetInstalledApplicationNestedResourcesFolder(char* dest) {
  dest[0] = '\0';
  char folder[kPathSize];
  LGetInstalledApplicationResourcesFolder(folder, sizeof folder);
  LFile::_MakeFilePath(dest, folder, "resources", "");
}

bool LIsApplicationBundled() { return platform::IsMainBundleFolder(); }
