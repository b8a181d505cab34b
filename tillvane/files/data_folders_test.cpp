#include <sys/stat.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/file_mask.h>
#include <tests/support/files.h>
#include <tests/support/guarded_text.h>
#include <tests/support/made_up_home.h>
#include <tillvane/files/LFile.h>

namespace {

using support::IsThere;
using support::MadeUpHome;
using support::MakeFile;
using support::Mode;
using support::PathOf;

std::string OwnFolder() {
  return PathOf([](char* dest) { LFile::GetUserDataFolderApp(dest); });
}
std::string FolderOf(const char* name) {
  return PathOf([=](char* dest) { LFile::GetUserDataFolderApp(dest, name); });
}
std::string SubFolder(const char* name) {
  return PathOf([=](char* dest) { LFile::GetUserDataFolderAppSubFolder(name, dest); });
}
std::string SharedSubFolder(const char* name) {
  return PathOf([=](char* dest) { LFile::GetSharedDataFolderAppSubFolder(name, dest); });
}

class DataFolders : public testing::Test {
 protected:
  const MadeUpHome home_;
  const std::string data_ = home_.Path(".local/share");

 private:
  const support::FileMask mask_{022};
};

TEST_F(DataFolders, SharedIsTheUsers) {
  EXPECT_EQ(PathOf(LFile::GetUserDataFolder), data_);
  EXPECT_EQ(PathOf(LFile::GetSharedDataFolder), data_);
  const support::EnvironmentVariable elsewhere("XDG_DATA_HOME", home_.Beside("data").c_str());
  EXPECT_EQ(PathOf(LFile::GetUserDataFolder), home_.Beside("data"));
  EXPECT_EQ(PathOf(LFile::GetSharedDataFolder), home_.Beside("data"));
}

TEST_F(DataFolders, TheUsersIsNotMadeByAQuestion) {
  PathOf(LFile::GetUserDataFolder);
  PathOf(LFile::GetSharedDataFolder);
  EXPECT_FALSE(IsThere(home_.Path(".local")));
}

TEST_F(DataFolders, OfAnApplicationIsMade) {
  for (int times = 0; times < 2; ++times) {
    EXPECT_EQ(FolderOf("Shop"), data_ + "/Shop");
    EXPECT_EQ(Mode(data_ + "/Shop"), 0755U);
  }
  EXPECT_FALSE(IsThere(data_ + "/Tillvane"));
  EXPECT_EQ(OwnFolder(), data_ + "/Tillvane");
  EXPECT_EQ(Mode(data_ + "/Tillvane"), 0755U);
}

TEST_F(DataFolders, InTheLibrarysOwnIsMade) {
  for (int times = 0; times < 2; ++times) {
    EXPECT_EQ(SubFolder("Signals"), data_ + "/Tillvane/Signals");
    EXPECT_EQ(Mode(data_ + "/Tillvane/Signals"), 0755U);
  }
  EXPECT_EQ(SubFolder("a/b"), data_ + "/Tillvane/a/b");
  EXPECT_FALSE(IsThere(data_ + "/Tillvane/a"));
}

TEST_F(DataFolders, AreMadeForEverybodyButTheMask) {
  const struct {
    mode_t mask;
    unsigned int mode;
  } cases[] = {{0, 0777}, {027, 0750}};
  for (const auto& c : cases) {
    const support::EnvironmentVariable data("XDG_DATA_HOME", home_.Beside(std::to_string(c.mask)).c_str());
    const support::FileMask mask(c.mask);
    EXPECT_EQ(Mode(FolderOf("Shop")), c.mode) << c.mask;
    EXPECT_EQ(Mode(SubFolder("Signals")), c.mode) << c.mask;
    EXPECT_EQ(Mode(OwnFolder()), c.mode) << c.mask;
    EXPECT_EQ(Mode(PathOf(LFile::GetSharedDataFolderApp)), c.mode) << c.mask;
    EXPECT_EQ(Mode(PathOf(LFile::GetUserDataFolder)), 0700U) << "the user's alone";
  }
}

TEST_F(DataFolders, SharedOnesAreOpenedWhenTheyAreMade) {
  EXPECT_EQ(PathOf(LFile::GetSharedDataFolderApp), data_ + "/Tillvane/Shared");
  EXPECT_EQ(Mode(data_ + "/Tillvane/Shared"), 0755U);
  const std::string folder = data_ + "/Tillvane/Shared/Stock";
  EXPECT_EQ(SharedSubFolder("Stock"), folder);
  EXPECT_EQ(Mode(folder), 0777U) << "whatever the mask";
  ASSERT_EQ(chmod(folder.c_str(), 0700), 0);
  EXPECT_EQ(SharedSubFolder("Stock"), folder);
  EXPECT_EQ(Mode(folder), 0700U) << "what is there keeps its permissions";
}

TEST_F(DataFolders, AFileInTheWayStays) {
  MakeFile(OwnFolder() + "/Shared", "text");
  EXPECT_EQ(SharedSubFolder("Stock"), data_ + "/Tillvane/Shared/Stock");
  EXPECT_EQ(support::Contents(data_ + "/Tillvane/Shared"), "text");
  MakeFile(data_ + "/Shop", "text");
  EXPECT_EQ(FolderOf("Shop"), data_ + "/Shop");
  EXPECT_EQ(support::Contents(data_ + "/Shop"), "text");
}

TEST_F(DataFolders, AreCutToAPathsRoom) {
  const std::string name(300, 'x');
  EXPECT_EQ(FolderOf(name.c_str()), (data_ + '/' + name).substr(0, 259));
  EXPECT_EQ(SubFolder(name.c_str()), (data_ + "/Tillvane/" + name).substr(0, 259));
  EXPECT_EQ(SharedSubFolder(name.c_str()), (data_ + "/Tillvane/Shared/" + name).substr(0, 259));
}

}  // namespace
