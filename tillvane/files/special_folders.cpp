#include <sys/stat.h>

#include <string>
#include <vector>

#include <tillvane/files/LFile.h>
#include <tillvane/files/LSpecialFolder.h>
#include <tillvane/files/path_text.h>
#include <tillvane/platform/known_folders.h>
#include <tillvane/platform/main_bundle.h>
#include <tillvane/system/LApplicationBundle.h>
#include <tillvane/text/LStringFormat.h>

using files::kPathSize;
using platform::FolderDomain;
using platform::FolderKind;

namespace {

void Store(char* dest, const std::string& path) { files::StorePath(dest, path.data(), path.size()); }

void GetFolder(char* dest, FolderKind kind, const char* fallback) {
  GetUserSpecialFolder(dest, static_cast<unsigned int>(kind), fallback);
}

void JoinWithAccountHome(char* dest, const char* name) {
  LFile::GetUserFolderNonSandboxed(dest);
  LFile::_MakeFilePath(dest, dest, name, "");
}

}  // namespace

void GetUserSpecialFolder(char* dest, unsigned int kind, const char* fallback) {
  const std::vector<std::string> folders = platform::KnownFolders(FolderKind{kind}, FolderDomain::kUser);
  if (!folders.empty()) {
    Store(dest, folders.front());
    return;
  }
  LFile::_MakeFilePath(dest, platform::HomeFolder().c_str(), fallback, "");
  if (!LFile::TestFolderExists(dest)) mkdir(dest, 0777);
}

void LFile::GetUserDataFolder(char* dest) {
  GetFolder(dest, FolderKind::kApplicationSupport, "Library/Application Support");
}

void LFile::GetSharedDataFolder(char* dest) { GetUserDataFolder(dest); }

void LFile::GetUserDownloadFolder(char* dest) { GetFolder(dest, FolderKind::kDownloads, "Downloads"); }

void LFile::GetUserDesktopFolder(char* dest) { GetFolder(dest, FolderKind::kDesktop, "Desktop"); }

void LFile::GetUserDocumentsFolder(char* dest) { GetFolder(dest, FolderKind::kDocuments, "Documents"); }

void LFile::GetUserApplicationsFolder(char* dest) { GetFolder(dest, FolderKind::kApplications, "Applications"); }

void LFile::GetUserPicturesFolder(char* dest) { GetFolder(dest, FolderKind::kPictures, "Pictures"); }

void LFile::GetUserVideoFolder(char* dest) { GetFolder(dest, FolderKind::kMovies, "Movies"); }

void LFile::GetUserMusicFolder(char* dest) { GetFolder(dest, FolderKind::kMusic, "Music"); }

void LFile::GetUserFolder(char* dest) { Store(dest, platform::HomeFolder()); }

void LFile::GetUserFolderNonSandboxed(char* dest) { Store(dest, platform::AccountHome()); }

void LFile::GetUserDownloadFolderNonSandboxed(char* dest) { JoinWithAccountHome(dest, "Downloads"); }

void LFile::GetUserPicturesFolderNonSandboxed(char* dest) { JoinWithAccountHome(dest, "Pictures"); }

void LFile::GetUserVideoFolderNonSandboxed(char* dest) { JoinWithAccountHome(dest, "Movies"); }

void LFile::GetUserMusicFolderNonSandboxed(char* dest) { JoinWithAccountHome(dest, "Music"); }

void LFile::GetApplicationsFolder(char* dest) {
  const std::vector<std::string> folders = platform::KnownFolders(FolderKind::kApplications, FolderDomain::kLocal);
  Store(dest, folders.empty() ? "/Applications" : folders.front());
}

void LFile::GetHelpFolder(char* dest) {
  dest[0] = '\0';
  const std::string bundle = platform::MainBundlePath();
  if (bundle.empty()) return;
  tplsnprintf(dest, kPathSize, "%s%s", bundle.c_str(), "/Contents/Resources/help");
}

char* LFile::GetTempFolder(char* dest) {
  Store(dest, platform::TemporaryFolder());
  return dest;
}

void LFile::GetProgramExecutablePath(char* dest) { LGetBundleFolder(dest, kPathSize); }
