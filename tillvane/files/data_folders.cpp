#include <sys/stat.h>

#include <tillvane/files/LFile.h>
#include <tillvane/platform/known_folders.h>

void LFile::GetUserDataFolderApp(char* dest, const char* name) {
  // The getter of the user's data folder makes nothing.
  _MakeFilePath(dest, platform::ApplicationSupportFolder().c_str(), name, "");
  mkdir(dest, 0777);
}

void LFile::GetUserDataFolderApp(char* dest) { GetUserDataFolderApp(dest, "Tillvane"); }

void LFile::GetUserDataFolderAppSubFolder(const char* name, char* dest) {
  GetUserDataFolderApp(dest);
  _MakeFilePath(dest, dest, name, "");
  mkdir(dest, 0777);
}

void LFile::GetSharedDataFolderApp(char* dest) { GetUserDataFolderAppSubFolder("Shared", dest); }

void LFile::GetSharedDataFolderAppSubFolder(const char* name, char* dest) {
  GetSharedDataFolderApp(dest);
  _MakeFilePath(dest, dest, name, "");
  if (TestFolderExists(dest)) return;
  mkdir(dest, 0777);
  SetFolderSecurityAllAccess(dest);
}
