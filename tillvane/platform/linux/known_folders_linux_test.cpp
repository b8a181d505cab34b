#include <tillvane/platform/known_folders.h>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

#include <tillvane/platform/linux/known_folders_linux.h>

namespace {

using platform::ApplicationSupportFolderOf;
using platform::HomeFolderOf;
using platform::HomeSources;

/// A folder that is removed in the end.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "known_folders_XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

/// A variable of the environment for as long as this lives; null for none.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* before = getenv(name)) before_ = before;
    Set(value);
  }
  ~Variable() { Set(before_ ? before_->c_str() : nullptr); }

 private:
  void Set(const char* value) { value == nullptr ? unsetenv(name_) : setenv(name_, value, 1); }

  const char* name_;
  std::optional<std::string> before_;
};

/// The umask for as long as this lives.
class Umask {
 public:
  explicit Umask(mode_t mask) : before_(umask(mask)) {}
  ~Umask() { umask(before_); }

 private:
  mode_t before_;
};

unsigned int ModeOf(const std::string& path) {
  struct stat state;
  return stat(path.c_str(), &state) == 0 ? state.st_mode & 07777U : ~0U;
}

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
  const Variable no_flatpak("FLATPAK_ID", nullptr);
  {
    const Variable home("HOME", "/somewhere/else/");
    EXPECT_EQ(platform::HomeFolder(), "/somewhere/else");
  }
  const Variable home("HOME", nullptr);
  std::string account = platform::AccountHome();
  while (account.size() > 1 && account.ends_with('/')) account.pop_back();
  EXPECT_EQ(platform::HomeFolder(), account.starts_with('/') ? account : "/");
}

TEST(KnownFolders, ApplicationSupportIsMadeForTheUserAlone) {
  const TemporaryFolder folder;
  const Variable home("HOME", folder.Path().c_str());
  const Variable no_data_home("XDG_DATA_HOME", nullptr);
  const Variable no_flatpak("FLATPAK_ID", nullptr);
  const Umask none(0);
  EXPECT_EQ(platform::ApplicationSupportFolder(), folder.Path() + "/.local/share");
  EXPECT_EQ(ModeOf(folder.Path() + "/.local"), 0700U);
  EXPECT_EQ(ModeOf(folder.Path() + "/.local/share"), 0700U);
}

TEST(KnownFolders, ApplicationSupportAtTheDataHome) {
  const TemporaryFolder folder;
  const Variable data_home("XDG_DATA_HOME", (folder.Path() + "/a/b/c//").c_str());
  const Umask none(0);
  EXPECT_EQ(platform::ApplicationSupportFolder(), folder.Path() + "/a/b/c");
  for (const char* made : {"/a", "/a/b", "/a/b/c"}) EXPECT_EQ(ModeOf(folder.Path() + made), 0700U) << made;
}

TEST(KnownFolders, ExistingFoldersKeepTheirMode) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder.Path() + "/a");
  ASSERT_EQ(chmod((folder.Path() + "/a").c_str(), 0755), 0);
  platform::MakePrivateFolder(folder.Path() + "/a/b");
  EXPECT_EQ(ModeOf(folder.Path() + "/a"), 0755U);
  EXPECT_EQ(ModeOf(folder.Path() + "/a/b"), 0700U);
  ASSERT_EQ(chmod((folder.Path() + "/a/b").c_str(), 0750), 0);
  platform::MakePrivateFolder(folder.Path() + "/a/b");
  EXPECT_EQ(ModeOf(folder.Path() + "/a/b"), 0750U);
}

TEST(KnownFolders, AFileInTheWayIsLeftAlone) {
  const TemporaryFolder folder;
  std::ofstream(folder.Path() + "/a") << "text";
  platform::MakePrivateFolder(folder.Path() + "/a/b");
  EXPECT_TRUE(std::filesystem::is_regular_file(folder.Path() + "/a"));
  const Variable data_home("XDG_DATA_HOME", (folder.Path() + "/a/b").c_str());
  EXPECT_EQ(platform::ApplicationSupportFolder(), folder.Path() + "/a/b");
}

}  // namespace
