#include <unistd.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/files.h>
#include <tests/support/guarded_text.h>
#include <tests/support/made_up_home.h>
#include <tillvane/files/LFile.h>

namespace {

using support::EnvironmentVariable;
using support::MakeFile;
using support::MakeFolder;

class SandboxPaths : public testing::Test {
 protected:
  /// \return the place outside, "none" when there is none
  static std::string Outside(const std::string& path) {
    support::GuardedText dest(260);
    const bool is_outside = LFile::MakeNonSandboxedFilePath(dest.Get(), path.c_str());
    EXPECT_EQ(is_outside, !dest.Text().empty()) << path;
    return is_outside ? dest.Text() : "none";
  }

  void Link(const std::string& target, const std::string& name) const {
    ASSERT_EQ(symlink(target.c_str(), home_.Path(name).c_str()), 0) << name;
  }

  const support::MadeUpHome home_;
  const std::string downloads_ = home_.Real("Downloads");
};

TEST_F(SandboxPaths, InsideIsWhatBeginsLikeTheHome) {
  const struct {
    std::string path;
    bool is_inside;
  } cases[] = {
      {home_.Path(), true},
      {home_.Path("x"), true},
      {home_.Path() + "/../x", true},
      {home_.Path("Downloads/x"), true},
      // No separator is looked for.
      {home_.Path() + "2/x", true},
      {home_.Path() + '\\', true},
      {home_.Path().substr(0, home_.Path().size() - 1), false},
      {home_.Beside("x"), false},
      {downloads_, false},
      {"/", false},
      {"", false},
      {"home", false},
      {'/' + home_.Path(), false},
  };
  for (const auto& c : cases) EXPECT_EQ(LFile::IsPathInSandbox(c.path.c_str()), c.is_inside) << c.path;
}

TEST_F(SandboxPaths, InAHomeThatIsTheRootIsEverythingAbsolute) {
  const EnvironmentVariable root("HOME", "/");
  EXPECT_TRUE(LFile::IsPathInSandbox(downloads_.c_str()));
  EXPECT_FALSE(LFile::IsPathInSandbox("home"));
  EXPECT_EQ(Outside(downloads_), "none");
  EXPECT_EQ(Outside("/no such folder/x/y"), "none");
  EXPECT_EQ(Outside("/"), "none");
}

TEST_F(SandboxPaths, WhatIsThereIsResolved) {
  MakeFile(downloads_ + "/file");
  MakeFile(home_.Path("own"));
  MakeFolder(home_.Path("Documents"));
  Link("Documents", "inner");
  Link(downloads_ + "/file", "file");
  const struct {
    std::string path, place;
  } cases[] = {
      {home_.Path("Downloads"), downloads_},
      {home_.Path("Downloads/"), downloads_},
      {home_.Path("Downloads/file"), downloads_ + "/file"},
      {home_.Path("Documents/../Downloads/file"), downloads_ + "/file"},
      {home_.Path("file"), downloads_ + "/file"},
      {downloads_ + "/file", downloads_ + "/file"},
      {home_.Path("own"), "none"},
      {home_.Path("inner"), "none"},
      {home_.Path("Documents"), "none"},
      {home_.Path(), "none"},
  };
  for (const auto& c : cases) EXPECT_EQ(Outside(c.path), c.place) << c.path;
}

TEST_F(SandboxPaths, WithoutASandboxNothingOfTheHomeIsOutside) {
  MakeFile(home_.Path("file"));
  EXPECT_TRUE(LFile::IsPathInSandbox(home_.Path("file").c_str()));
  EXPECT_EQ(Outside(home_.Path("file")), "none");
}

TEST_F(SandboxPaths, WhatIsNotThereLiesBehindALinkOfTheHome) {
  MakeFolder(home_.Path("Documents/deep"));
  MakeFolder(home_.Beside("x"));
  Link(home_.Beside("x"), "x");
  Link(home_.Beside("x"), "Documents/deeper");
  Link("Documents", "inner");
  Link("nowhere", "broken");
  Link("circle", "circle");
  Link("/", "root");
  const struct {
    std::string path, place;
  } cases[] = {
      {home_.Path("Downloads/new.txt"), downloads_ + "/new.txt"},
      {home_.Path("Downloads/a/b.txt"), downloads_ + "/a/b.txt"},
      {home_.Path("Downloads/a/"), downloads_ + "/a/"},
      {home_.Path("Downloads//a"), downloads_ + "//a"},
      {home_.Path("/Downloads/new.txt"), downloads_ + "/new.txt"},
      {home_.Path("root/no such/x"), "/no such/x"},
      // Each name is looked for in the home itself.
      {home_.Path("Documents/x/y"), home_.Beside("x/y")},
      {home_.Path("no such/x/y/z"), home_.Beside("x/y/z")},
      {home_.Path("x/Downloads/y"), home_.Beside("x/Downloads/y")},
      {home_.Path("Documents/deeper/y"), "none"},
      // A name behind the link is needed.
      {home_.Path("Documents/x"), "none"},
      {home_.Path("new.txt"), "none"},
      {home_.Path("no such/new.txt"), "none"},
      {home_.Path("no such/"), "none"},
      // Links that lead nowhere, or not outside; no other is looked for then.
      {home_.Path("broken/x"), "none"},
      {home_.Path("broken"), "none"},
      {home_.Path("broken/Downloads/x"), "none"},
      {home_.Path("circle/x"), "none"},
      {home_.Path("inner/x/y"), "none"},
      // Not of the home.
      {home_.Beside("no such/Downloads/x"), "none"},
      {"no such/Downloads/x", "none"},
      {"", "none"},
      // Behind the home's bytes, whatever follows.
      {home_.Path() + "2/Downloads/new.txt", downloads_ + "/new.txt"},
  };
  for (const auto& c : cases) EXPECT_EQ(Outside(c.path), c.place) << c.path;
}

TEST_F(SandboxPaths, ALinkOfADownloadsFolderThatIsGoneMapsNothing) {
  std::filesystem::remove(downloads_);
  EXPECT_EQ(Outside(home_.Path("Downloads")), "none");
  EXPECT_EQ(Outside(home_.Path("Downloads/new.txt")), "none");
}

TEST_F(SandboxPaths, APlaceThatDoesNotFitIsCut) {
  const std::string room(259 - downloads_.size() - 1, 'x');
  EXPECT_EQ(Outside(home_.Path("Downloads/") + room), downloads_ + '/' + room);
  EXPECT_EQ(Outside(home_.Path("Downloads/") + room + 'x'), downloads_ + '/' + room);
  EXPECT_EQ(Outside(home_.Path("Downloads/") + std::string(100000, 'x')), downloads_ + '/' + room);
  const std::string half = '/' + std::string(130, 'd');
  MakeFolder(downloads_ + half + half);
  EXPECT_EQ(Outside(home_.Path("Downloads") + half + half), (downloads_ + half + half).substr(0, 259));
  // Of a link's target that is too long there is room for a slash.
  Link(downloads_ + half + half, "deep");
  EXPECT_EQ(Outside(home_.Path("deep/new.txt")), (downloads_ + half + half).substr(0, 258) + '/');
}

// As where /home is a link.
TEST_F(SandboxPaths, AHomeBehindALinkIsInsideTooWhenItIsResolved) {
  MakeFile(home_.Path("file"));
  MakeFolder(home_.Path("Documents"));
  Link("Documents", "inner");
  ASSERT_EQ(symlink("home", home_.Beside("users").c_str()), 0);
  const EnvironmentVariable variable("HOME", home_.Beside("users").c_str());
  EXPECT_TRUE(LFile::IsPathInSandbox(home_.Beside("users/file").c_str()));
  EXPECT_FALSE(LFile::IsPathInSandbox(home_.Path("file").c_str())) << "links are not followed";
  for (const char* path : {"users/file", "users/inner", "users/inner/new", "users/Documents", "users", "home/file"}) {
    EXPECT_EQ(Outside(home_.Beside(path)), "none") << path;
  }
  EXPECT_EQ(Outside(home_.Beside("users/Downloads")), downloads_);
  EXPECT_EQ(Outside(home_.Beside("users/Downloads/new.txt")), downloads_ + "/new.txt");
}

TEST_F(SandboxPaths, AHomeThatLeadsNowhereHasNoOtherPlace) {
  MakeFile(home_.Beside("file"));
  const EnvironmentVariable variable("HOME", home_.Beside("missing").c_str());
  EXPECT_EQ(Outside(home_.Beside("file")), home_.Beside("file"));
}

TEST_F(SandboxPaths, TheAnswerMayTakeThePathsPlace) {
  support::GuardedText path(260);
  home_.Path("Downloads/a/b").copy(path.Get(), 259);
  path.Get()[home_.Path("Downloads/a/b").size()] = '\0';
  EXPECT_TRUE(LFile::MakeNonSandboxedFilePath(path.Get(), path.Get()));
  EXPECT_EQ(path.Text(), downloads_ + "/a/b");
}

}  // namespace
