#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/file_mask.h>
#include <tests/support/files.h>
#include <tests/support/guarded_text.h>
#include <tests/support/made_up_home.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LSpecialFolder.h>
#include <tillvane/platform/main_bundle.h>
#include <tillvane/system/LApplicationBundle.h>

namespace {

using support::EnvironmentVariable;
using support::IsThere;
using support::MadeUpHome;
using support::MakeFile;
using support::MakeFolder;
using support::PathOf;

void WriteUserDirs(const MadeUpHome& home, const std::string& text) {
  MakeFolder(home.Path(".config"));
  MakeFile(home.Path(".config/user-dirs.dirs"), text);
}

struct UserFolder {
  void (*get)(char*);
  std::string fallback;
  std::string name;  ///< that the desktop has for it
};

const UserFolder kUserFolders[] = {
    {LFile::GetUserDownloadFolder, "Downloads", "DOWNLOAD"},   {LFile::GetUserDesktopFolder, "Desktop", "DESKTOP"},
    {LFile::GetUserDocumentsFolder, "Documents", "DOCUMENTS"}, {LFile::GetUserPicturesFolder, "Pictures", "PICTURES"},
    {LFile::GetUserVideoFolder, "Movies", "VIDEOS"},           {LFile::GetUserMusicFolder, "Music", "MUSIC"},
};

TEST(SpecialFolders, OfTheDesktopsChoiceAreNotMade) {
  const MadeUpHome home;
  for (const UserFolder& folder : kUserFolders) {
    WriteUserDirs(home, "XDG_" + folder.name + "_DIR=\"$HOME/own\"\n");
    EXPECT_EQ(PathOf(folder.get), home.Path("own")) << folder.name;
  }
  EXPECT_FALSE(IsThere(home.Path("own")));
}

TEST(SpecialFolders, WithoutAChoiceAreMadeInTheHome) {
  const MadeUpHome home;
  for (const UserFolder& folder : kUserFolders) {
    EXPECT_EQ(PathOf(folder.get), home.Path(folder.fallback));
    EXPECT_TRUE(std::filesystem::is_directory(home.Path(folder.fallback))) << folder.fallback;
    EXPECT_EQ(PathOf(folder.get), home.Path(folder.fallback)) << "a second time";
  }
  EXPECT_TRUE(std::filesystem::is_symlink(home.Path("Downloads"))) << "what is there stays";
}

TEST(SpecialFolders, AFallbackIsMadeOneLevelDeep) {
  const MadeUpHome home;
  const auto get = [](const char* fallback) {
    return PathOf([=](char* dest) { GetUserSpecialFolder(dest, 4711, fallback); });
  };
  EXPECT_EQ(get("a/b"), home.Path("a/b"));
  EXPECT_FALSE(IsThere(home.Path("a")));
  EXPECT_EQ(get("a"), home.Path("a"));
  EXPECT_EQ(get("a/b"), home.Path("a/b"));
  EXPECT_TRUE(std::filesystem::is_directory(home.Path("a/b")));
  MakeFile(home.Path("file"), "text");
  EXPECT_EQ(get("file"), home.Path("file"));
  EXPECT_EQ(support::Contents(home.Path("file")), "text");
}

TEST(SpecialFolders, AFallbackIsMadeForEverybodyButTheMask) {
  const MadeUpHome home;
  {
    const support::FileMask none(0);
    PathOf(LFile::GetUserMusicFolder);
  }
  {
    const support::FileMask mask(027);
    PathOf(LFile::GetUserDesktopFolder);
  }
  EXPECT_EQ(support::Mode(home.Path("Music")), 0777U);
  EXPECT_EQ(support::Mode(home.Path("Desktop")), 0750U);
}

TEST(SpecialFolders, OfTheNumbersThatAreKnown) {
  const MadeUpHome home;
  std::string text;
  for (const UserFolder& folder : kUserFolders) text += "XDG_" + folder.name + "_DIR=\"/" + folder.name + "\"\n";
  WriteUserDirs(home, text);
  const struct {
    unsigned int kind;
    std::string folder;
  } cases[] = {{1, home.Path(".local/share/applications")},
               {9, "/DOCUMENTS"},
               {12, "/DESKTOP"},
               {14, home.Path(".local/share")},
               {15, "/DOWNLOAD"},
               {17, "/VIDEOS"},
               {18, "/MUSIC"},
               {19, "/PICTURES"},
               {0, home.Path("fallback")},
               {16, home.Path("fallback")},
               {0xFFFFFFFF, home.Path("fallback")}};
  for (const auto& c : cases) {
    EXPECT_EQ(PathOf([&](char* dest) { GetUserSpecialFolder(dest, c.kind, "fallback"); }), c.folder) << c.kind;
  }
}

TEST(SpecialFolders, AreCutToAPathsRoom) {
  const MadeUpHome home;
  const std::string path = '/' + std::string(300, 'x');
  WriteUserDirs(home, "XDG_MUSIC_DIR=\"" + path + "\"\n");
  EXPECT_EQ(PathOf(LFile::GetUserMusicFolder), path.substr(0, 259));
  const EnvironmentVariable variables[] = {{"HOME", path.c_str()}, {"TMPDIR", path.c_str()}};
  EXPECT_EQ(PathOf(LFile::GetUserFolder), path.substr(0, 259));
  EXPECT_EQ(PathOf(LFile::GetTempFolder), path.substr(0, 259));
}

TEST(SpecialFolders, TheHomeIsTheEnvironments) {
  const MadeUpHome home;
  EXPECT_EQ(PathOf(LFile::GetUserFolder), home.Path());
}

TEST(SpecialFolders, OutsideTheSandboxAreTheAccounts) {
  const MadeUpHome home;
  // Not every user has an entry.
  const passwd* const entry = getpwuid(getuid());
  const std::string account = entry != nullptr ? entry->pw_dir : "";
  ASSERT_LT(account.size(), 200U);
  EXPECT_EQ(PathOf(LFile::GetUserFolderNonSandboxed), account);
  EXPECT_NE(PathOf(LFile::GetUserFolderNonSandboxed), home.Path());
  const std::string folder = account.empty() || account.ends_with('/') ? account : account + '/';
  EXPECT_EQ(PathOf(LFile::GetUserDownloadFolderNonSandboxed), folder + "Downloads");
  EXPECT_EQ(PathOf(LFile::GetUserPicturesFolderNonSandboxed), folder + "Pictures");
  EXPECT_EQ(PathOf(LFile::GetUserVideoFolderNonSandboxed), folder + "Movies");
  EXPECT_EQ(PathOf(LFile::GetUserMusicFolderNonSandboxed), folder + "Music");
}

TEST(SpecialFolders, TheMachinesApplications) {
  const MadeUpHome home;
  EXPECT_EQ(PathOf(LFile::GetApplicationsFolder), "/Applications") << "the system tells of none";
  MakeFolder(home.Beside("share/applications"));
  EXPECT_EQ(PathOf(LFile::GetApplicationsFolder), home.Beside("share/applications"));
}

TEST(SpecialFolders, TheUsersApplicationsAreNotMade) {
  const MadeUpHome home;
  EXPECT_EQ(PathOf(LFile::GetUserApplicationsFolder), home.Path(".local/share/applications"));
  EXPECT_FALSE(IsThere(home.Path(".local/share/applications")));
  EXPECT_FALSE(IsThere(home.Path("Applications")));
}

TEST(SpecialFolders, TheTemporaryOneIsGivenBack) {
  const MadeUpHome home;
  support::GuardedText dest(260);
  EXPECT_EQ(LFile::GetTempFolder(dest.Get()), dest.Get());
  EXPECT_EQ(dest.Text(), home.Beside("temporary"));
}

TEST(SpecialFolders, OfTheBundle) {
  // This one is a bare executable.
  const std::string folder = platform::MainBundlePath();
  ASSERT_LT(folder.size(), 200U);
  EXPECT_EQ(PathOf(LFile::GetHelpFolder), folder + "/Contents/Resources/help");
  EXPECT_EQ(PathOf(LFile::GetProgramExecutablePath), folder);
  for (unsigned long capacity = 0; capacity < 4; ++capacity) {
    support::GuardedText cut(capacity);
    LGetBundleFolder(cut.Get(), capacity);
    EXPECT_EQ(cut.Text(), capacity == 0 ? "" : folder.substr(0, capacity - 1));
  }
}

}  // namespace
