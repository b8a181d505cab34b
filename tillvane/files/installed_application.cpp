#include <string>

#include <tillvane/files/LFile.h>
#include <tillvane/files/LSpecialFolder.h>
#include <tillvane/files/path_text.h>
#include <tillvane/platform/known_folders.h>

using files::kPathSize;

namespace {

bool IsInFolder(char* dest, const char* folder, const char* name) {
  LFile::_MakeFilePath(dest, folder, name, "");
  return LFile::TestFolderExists(dest);
}

}  // namespace

bool LFile::GetInstalledApplicationExePath(char* dest, const char* name) {
  char folder[kPathSize];
  GetUserApplicationsFolder(folder);
  if (IsInFolder(dest, folder, name)) return true;
  using platform::FolderDomain;
  using platform::FolderKind;
  for (const std::string& local : platform::KnownFolders(FolderKind::kApplications, FolderDomain::kLocal)) {
    if (IsInFolder(dest, local.c_str(), name)) return true;
  }
  GetApplicationsFolder(folder);
  return IsInFolder(dest, folder, name);
}

bool LIsApplicationInstalled(const char* name) {
  char path[kPathSize];
  return LFile::GetInstalledApplicationExePath(path, name);
}
