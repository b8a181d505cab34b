// A program that says where its folders are, as "NAME VALUE", a line each, and where an application is, or "none".
// Arguments are paths, of which it says whether they are inside its sandbox, and the real place outside, or "none".

#include <cstdio>

#include <tillvane/tillvane.h>

namespace {

constexpr unsigned long kPathSize = 260;

void Say(const char* name, void (*get)(char*)) {
  char path[kPathSize];
  get(path);
  std::printf("%s %s\n", name, path);
}

}  // namespace

int main(int argc, char** argv) {
  Say("home", LFile::GetUserFolder);
  Say("account", LFile::GetUserFolderNonSandboxed);
  Say("account-downloads", LFile::GetUserDownloadFolderNonSandboxed);
  Say("account-pictures", LFile::GetUserPicturesFolderNonSandboxed);
  Say("account-video", LFile::GetUserVideoFolderNonSandboxed);
  Say("account-music", LFile::GetUserMusicFolderNonSandboxed);
  Say("data", LFile::GetUserDataFolder);
  Say("own", [](char* path) { LFile::GetUserDataFolderApp(path); });
  Say("downloads", LFile::GetUserDownloadFolder);
  Say("music", LFile::GetUserMusicFolder);
  Say("applications", LFile::GetApplicationsFolder);
  Say("help", LFile::GetHelpFolder);
  Say("program", LFile::GetProgramExecutablePath);
  Say("temporary", [](char* path) { LFile::GetTempFolder(path); });
  char path[kPathSize];
  std::printf("shop %s\n", LFile::GetInstalledApplicationExePath(path, "org.example.Shop.desktop") ? path : "none");
  std::printf("bakery %s\n", LIsApplicationInstalled("org.example.Bakery.desktop") ? "installed" : "none");
  for (int i = 1; i < argc; ++i) {
    std::printf("inside %s\n", LFile::IsPathInSandbox(argv[i]) ? "yes" : "no");
    std::printf("outside %s\n", LFile::MakeNonSandboxedFilePath(path, argv[i]) ? path : "none");
  }
  return 0;
}
