#include <tillvane/platform/known_folders.h>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include <tests/support/current_folder.h>
#include <tests/support/environment_variable.h>
#include <tests/support/file_mask.h>
#include <tests/support/files.h>
#include <tests/support/made_up_home.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/linux/known_folders_linux.h>

namespace {

using platform::ApplicationSupportFolderOf;
using platform::FolderKind;
using platform::FolderSources;
using platform::HomeFolderOf;
using platform::HomeSources;
using platform::LocalApplicationsOf;
using platform::TemporaryFolderOf;
using platform::UserFolderOf;
using support::EnvironmentVariable;
using support::MakeFolder;
using support::Mode;
using support::TempFolder;

std::string AccountWithHome() { return "/home/account/"; }
std::string AccountWithoutHome() { return ""; }
std::string AccountWithRelativeHome() { return "home"; }

TEST(KnownFolders, Home) {
  const char* const inside = "/";  // anything that exists
  const char* const outside = "/no/such/file";
  const struct {
    std::string home, flatpak_id;
    const char* flatpak_info;
    std::string (*account)();
    std::string folder;
  } cases[] = {
      {"/home/ada", "", outside, AccountWithHome, "/home/ada"},
      {"/home/ada///", "", outside, AccountWithHome, "/home/ada"},
      {"/", "", outside, AccountWithHome, "/"},
      {"///", "", outside, AccountWithHome, "/"},
      // Not absolute: the account knows better.
      {"", "", outside, AccountWithHome, "/home/account"},
      {"home/ada", "", outside, AccountWithHome, "/home/account"},
      {"~", "", outside, AccountWithHome, "/home/account"},
      {"", "", outside, AccountWithoutHome, "/"},
      {"", "", outside, AccountWithRelativeHome, "/"},
      // Flatpak: both signs are needed.
      {"/home/ada", "org.example.Shop", inside, AccountWithHome, "/home/ada/.var/app/org.example.Shop"},
      {"/home/ada/", "org.example.Shop", inside, AccountWithHome, "/home/ada/.var/app/org.example.Shop"},
      {"/", "org.example.Shop", inside, AccountWithHome, "/.var/app/org.example.Shop"},
      {"", "org.example.Shop", inside, AccountWithHome, "/home/account/.var/app/org.example.Shop"},
      {"/home/ada", "org.example.Shop", outside, AccountWithHome, "/home/ada"},
      {"/home/ada", "", inside, AccountWithHome, "/home/ada"},
      // What is no application's name leads nowhere else.
      {"/home/ada", "..", inside, AccountWithHome, "/home/ada"},
      {"/home/ada", ".", inside, AccountWithHome, "/home/ada"},
      {"/home/ada", "../../x", inside, AccountWithHome, "/home/ada"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(HomeFolderOf({c.home, c.flatpak_id, c.flatpak_info, c.account}), c.folder)
        << c.home << ' ' << c.flatpak_id << ' ' << c.flatpak_info;
  }
}

TEST(KnownFolders, FlatpakIsToldByItsOwnFile) { EXPECT_EQ(HomeSources().flatpak_info, "/.flatpak-info"); }

TEST(KnownFolders, ApplicationSupport) {
  const struct {
    std::string data_home, home, folder;
  } cases[] = {
      {"/data", "/home/ada", "/data"},
      {"/data//", "/home/ada", "/data"},
      {"/", "/home/ada", "/"},
      {"", "/home/ada", "/home/ada/.local/share"},
      {"data", "/home/ada", "/home/ada/.local/share"},
      {"", "/", "/.local/share"},
  };
  for (const auto& c : cases) EXPECT_EQ(ApplicationSupportFolderOf(c.data_home, c.home), c.folder) << c.data_home;
}

TEST(KnownFolders, HomeOfThisProcess) {
  const EnvironmentVariable no_flatpak("FLATPAK_ID", nullptr);
  {
    const EnvironmentVariable home("HOME", "/somewhere/else/");
    EXPECT_EQ(platform::HomeFolder(), "/somewhere/else");
  }
  const EnvironmentVariable home("HOME", nullptr);
  std::string account = platform::AccountHome();
  while (account.size() > 1 && account.ends_with('/')) account.pop_back();
  EXPECT_EQ(platform::HomeFolder(), account.starts_with('/') ? account : "/");
}

TEST(KnownFolders, ApplicationSupportIsMadeForTheUserAlone) {
  const TempFolder folder;
  const EnvironmentVariable home("HOME", folder.Path().c_str());
  const EnvironmentVariable no_data_home("XDG_DATA_HOME", nullptr);
  const EnvironmentVariable no_flatpak("FLATPAK_ID", nullptr);
  const support::FileMask none(0);
  EXPECT_EQ(platform::ApplicationSupportFolder(), folder.Path() + "/.local/share");
  EXPECT_EQ(Mode(folder.Path() + "/.local"), 0700U);
  EXPECT_EQ(Mode(folder.Path() + "/.local/share"), 0700U);
}

TEST(KnownFolders, ApplicationSupportAtTheDataHome) {
  const TempFolder folder;
  const EnvironmentVariable data_home("XDG_DATA_HOME", (folder.Path() + "/a/b/c//").c_str());
  const support::FileMask none(0);
  EXPECT_EQ(platform::ApplicationSupportFolder(), folder.Path() + "/a/b/c");
  for (const char* made : {"/a", "/a/b", "/a/b/c"}) EXPECT_EQ(Mode(folder.Path() + made), 0700U) << made;
}

TEST(KnownFolders, NothingIsMadeByAQuestion) {
  const support::MadeUpHome home;
  for (unsigned int kind = 0; kind < 100; ++kind) {
    for (const platform::FolderDomain domain : {platform::FolderDomain::kUser, platform::FolderDomain::kLocal}) {
      platform::KnownFolders(FolderKind{kind}, domain);
    }
  }
  EXPECT_EQ(support::Tree(home.Path()), std::set<std::string>{"Downloads"});
  EXPECT_EQ(platform::KnownFolders(FolderKind::kApplicationSupport, platform::FolderDomain::kUser),
            std::vector<std::string>{home.Path(".local/share")});
}

TEST(KnownFolders, ExistingFoldersKeepTheirMode) {
  const TempFolder folder;
  MakeFolder(folder.Path() + "/a");
  ASSERT_EQ(chmod((folder.Path() + "/a").c_str(), 0755), 0);
  platform::MakePrivateFolder(folder.Path() + "/a/b");
  EXPECT_EQ(Mode(folder.Path() + "/a"), 0755U);
  EXPECT_EQ(Mode(folder.Path() + "/a/b"), 0700U);
  ASSERT_EQ(chmod((folder.Path() + "/a/b").c_str(), 0750), 0);
  platform::MakePrivateFolder(folder.Path() + "/a/b");
  EXPECT_EQ(Mode(folder.Path() + "/a/b"), 0750U);
}

TEST(KnownFolders, AFileInTheWayIsLeftAlone) {
  const TempFolder folder;
  support::MakeFile(folder.Path() + "/a", "text");
  platform::MakePrivateFolder(folder.Path() + "/a/b");
  EXPECT_EQ(support::Contents(folder.Path() + "/a"), "text");
  const EnvironmentVariable data_home("XDG_DATA_HOME", (folder.Path() + "/a/b").c_str());
  EXPECT_EQ(platform::ApplicationSupportFolder(), folder.Path() + "/a/b");
}

FolderSources SourcesAt(const std::string& home) {
  FolderSources sources;
  sources.home.home = home;
  sources.home.flatpak_info = "/no/such/file";
  return sources;
}

/// The same inside Flatpak.
FolderSources ConfinedSourcesAt(const std::string& home) {
  FolderSources sources = SourcesAt(home);
  sources.home.flatpak_id = "org.example.Shop";
  sources.home.flatpak_info = "/";
  return sources;
}

void WriteUserDirs(const std::string& config_home, const std::string& text) {
  MakeFolder(config_home);
  support::MakeFile(config_home + "/user-dirs.dirs", text);
}

TEST(KnownFolders, UserFoldersAsTheDesktopTells) {
  const TempFolder folder;
  WriteUserDirs(folder.Path() + "/.config",
                "XDG_DESKTOP_DIR=\"$HOME/1\"\nXDG_DOWNLOAD_DIR=\"$HOME/2\"\nXDG_DOCUMENTS_DIR=\"$HOME/3\"\n"
                "XDG_MUSIC_DIR=\"$HOME/4\"\nXDG_PICTURES_DIR=\"$HOME/5\"\nXDG_VIDEOS_DIR=\"/6\"\n");
  const FolderSources sources = SourcesAt(folder.Path());
  const struct {
    FolderKind kind;
    std::string folder;
  } cases[] = {
      {FolderKind::kDesktop, folder.Path() + "/1"},
      {FolderKind::kDownloads, folder.Path() + "/2"},
      {FolderKind::kDocuments, folder.Path() + "/3"},
      {FolderKind::kMusic, folder.Path() + "/4"},
      {FolderKind::kPictures, folder.Path() + "/5"},
      {FolderKind::kMovies, "/6"},
      {FolderKind::kApplicationSupport, folder.Path() + "/.local/share"},
      {FolderKind::kApplications, folder.Path() + "/.local/share/applications"},
      {FolderKind{0}, ""},
      {FolderKind{2}, ""},
      {FolderKind{~0U}, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(UserFolderOf(c.kind, sources), c.folder) << static_cast<unsigned int>(c.kind);
  EXPECT_FALSE(support::IsThere(folder.Path() + "/.local")) << "nothing is made";
}

TEST(KnownFolders, UserDirsLieInTheConfigHome) {
  const TempFolder folder;
  const std::string line = "XDG_MUSIC_DIR=\"$HOME/Sounds\"\n";
  FolderSources sources = SourcesAt(folder.Path());
  EXPECT_EQ(UserFolderOf(FolderKind::kMusic, sources), "");
  WriteUserDirs(folder.Path() + "/config", line);
  sources.config_home = folder.Path() + "/config/";
  EXPECT_EQ(UserFolderOf(FolderKind::kMusic, sources), folder.Path() + "/Sounds");
  sources.config_home = "config";
  EXPECT_EQ(UserFolderOf(FolderKind::kMusic, sources), "") << "relative ones do not count";
}

TEST(KnownFolders, UserDirsInFlatpakNameTheRealHome) {
  const TempFolder folder;
  WriteUserDirs(folder.Path() + "/.config", "XDG_MUSIC_DIR=\"/not/this\"\n");
  const FolderSources sources = ConfinedSourcesAt(folder.Path());
  EXPECT_EQ(UserFolderOf(FolderKind::kMusic, sources), "") << "the one outside is not the application's";
  WriteUserDirs(folder.Path() + "/.var/app/org.example.Shop/.config", "XDG_MUSIC_DIR=\"$HOME/Sounds\"\n");
  EXPECT_EQ(UserFolderOf(FolderKind::kMusic, sources), folder.Path() + "/Sounds");
}

TEST(KnownFolders, UserDirsThatCannotBeReadTellNothing) {
  const std::string line = "XDG_MUSIC_DIR=\"/music\"\n";
  const TempFolder folder;
  const FolderSources sources = SourcesAt(folder.Path());
  const std::string config = folder.Path() + "/.config";
  WriteUserDirs(config, line + std::string(64 * 1024 - line.size(), '#'));
  EXPECT_EQ(UserFolderOf(FolderKind::kMusic, sources), "/music");
  WriteUserDirs(config, line + std::string(64 * 1024 - line.size() + 1, '#'));
  EXPECT_EQ(UserFolderOf(FolderKind::kMusic, sources), "") << "too large";
  std::filesystem::remove(config + "/user-dirs.dirs");
  ASSERT_EQ(mkfifo((config + "/user-dirs.dirs").c_str(), 0600), 0);
  EXPECT_EQ(UserFolderOf(FolderKind::kMusic, sources), "") << "a pipe";
}

TEST(KnownFolders, LocalApplicationsThatAreThere) {
  const TempFolder folder;
  const std::string& root = folder.Path();
  for (const char* there : {"/a/applications", "/b/applications", "/c"}) {
    MakeFolder(root + there);
  }
  support::MakeFile(root + "/c/applications", "a file");
  using Folders = std::vector<std::string>;
  const struct {
    std::string data_dirs;
    Folders folders;
  } cases[] = {
      {root + "/a:" + root + "/b", {root + "/a/applications", root + "/b/applications"}},
      {root + "/b//:" + root + "/missing:" + root + "/c:" + root + "/a/",
       {root + "/b/applications", root + "/a/applications"}},
      {"::a:./a:" + root + "/a:", {root + "/a/applications"}},
      {root + "/missing", {}},
      {":", {}},
  };
  FolderSources sources = SourcesAt("/home/ada");
  const support::CurrentFolder here(root);
  for (const auto& c : cases) {
    sources.data_dirs = c.data_dirs;
    EXPECT_EQ(LocalApplicationsOf(sources), c.folders) << c.data_dirs;
  }
}

TEST(KnownFolders, TheMachinesData) {
  FolderSources sources = SourcesAt("/home/ada");
  EXPECT_EQ(platform::DataDirsOf(sources), "/usr/local/share:/usr/share");
  sources.data_dirs = "/opt/share";
  EXPECT_EQ(platform::DataDirsOf(sources), "/opt/share");
}

TEST(KnownFolders, Temporary) {
  const struct {
    std::string variable, folder;
  } cases[] = {{"", "/tmp"}, {"/run/me/", "/run/me"}, {"/", "/"}, {"tmp", "/tmp"}};
  for (const auto& c : cases) {
    FolderSources sources = SourcesAt("/home/ada");
    sources.temporary = c.variable;
    EXPECT_EQ(TemporaryFolderOf(sources), c.folder) << c.variable;
    sources = ConfinedSourcesAt("/home/ada");
    sources.temporary = c.variable;
    EXPECT_EQ(TemporaryFolderOf(sources), "/var/tmp") << c.variable;
  }
}

TEST(KnownFolders, NoOtherKindIsTheMachines) {
  EXPECT_TRUE(platform::KnownFolders(FolderKind::kDownloads, platform::FolderDomain::kLocal).empty());
  EXPECT_TRUE(platform::KnownFolders(FolderKind::kApplicationSupport, platform::FolderDomain::kLocal).empty());
}

}  // namespace
