#include <tillvane/files/LFile.h>
#include <tillvane/platform/main_bundle.h>
#include <tillvane/system/LApplicationBundle.h>
#include <tillvane/system/LCFURL.h>

namespace {

constexpr unsigned long kPathSize = 260;

}  // namespace

void LGetInstalledApplicationResourcesFolder(char* dest, unsigned long capacity) {
  LCFURL folder;
  folder.CreateFromApplicationBundleResourcesFolder();
  folder.GetPath(dest, capacity);
}

void LGetInstalledApplicationNestedResourcesFolder(char* dest) {
  char folder[kPathSize];
  LGetInstalledApplicationResourcesFolder(folder, sizeof folder);
  LFile::_MakeFilePath(dest, folder, "resources", "");
}

bool LIsApplicationBundled() { return platform::IsMainBundleFolder(); }
