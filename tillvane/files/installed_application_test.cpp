#include <string>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/files.h>
#include <tests/support/guarded_text.h>
#include <tests/support/made_up_home.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LSpecialFolder.h>

namespace {

using support::MakeFile;
using support::MakeFolder;

class InstalledApplication : public testing::Test {
 protected:
  /// \return where it is; behind "not: " where it would be
  std::string Find(const char* name) const {
    support::GuardedText dest(260);
    const bool is_there = LFile::GetInstalledApplicationExePath(dest.Get(), name);
    EXPECT_EQ(LIsApplicationInstalled(name), is_there);
    return (is_there ? "" : "not: ") + dest.Text();
  }

  const support::MadeUpHome home_;
  const std::string users_ = home_.Path(".local/share/applications");
  const std::string machines_ = home_.Beside("share/applications");
  const std::string more_ = home_.Beside("more/applications");
};

TEST_F(InstalledApplication, NoFolderOfApplications) {
  EXPECT_EQ(Find("org.example.Shop.desktop"), "not: /Applications/org.example.Shop.desktop");
}

TEST_F(InstalledApplication, TheUsersGoesFirst) {
  MakeFolder(users_);
  MakeFolder(machines_);
  EXPECT_EQ(Find("org.example.Shop.desktop"), "not: " + machines_ + "/org.example.Shop.desktop");
  MakeFile(machines_ + "/org.example.Shop.desktop");
  EXPECT_EQ(Find("org.example.Shop.desktop"), machines_ + "/org.example.Shop.desktop");
  MakeFile(users_ + "/org.example.Shop.desktop");
  EXPECT_EQ(Find("org.example.Shop.desktop"), users_ + "/org.example.Shop.desktop");
  EXPECT_EQ(Find("org.example.Shop"), "not: " + machines_ + "/org.example.Shop") << "the name is whole";
}

TEST_F(InstalledApplication, FoldersAreApplicationsToo) {
  MakeFolder(machines_ + "/Shop.app");
  EXPECT_EQ(Find("Shop.app"), machines_ + "/Shop.app");
}

TEST_F(InstalledApplication, TheMachineMayHaveSeveralFolders) {
  MakeFolder(machines_);
  MakeFolder(more_);
  const support::EnvironmentVariable both("XDG_DATA_DIRS", (home_.Beside("share:") + home_.Beside("more")).c_str());
  MakeFile(more_ + "/shop.desktop");
  EXPECT_EQ(Find("shop.desktop"), more_ + "/shop.desktop");
  EXPECT_EQ(Find("bakery.desktop"), "not: " + machines_ + "/bakery.desktop");
}

TEST_F(InstalledApplication, ALongNameIsCut) {
  MakeFolder(machines_);
  const std::string name(300, 'x');
  EXPECT_EQ(Find(name.c_str()), "not: " + (machines_ + '/' + name).substr(0, 259));
}

}  // namespace
