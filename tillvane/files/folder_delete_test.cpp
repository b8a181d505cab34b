#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LFileFolderIterator.h>

namespace {

using support::IsThere;
using support::MakeFile;
using support::MakeFolder;
using support::TempFolder;
using support::Tree;

using Paths = std::set<std::string>;
using Delete = int (*)(const char*);

constexpr Delete kTrees[] = {LFile::DeleteFolderTree, LFile::DeleteFolderTreeAlways};

int DeleteFiles(const std::string& path) { return LFile::DeleteFolderAndFiles(path.c_str()); }

void Link(const std::string& target, const std::string& path) { ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0); }

TEST(FolderDelete, FilesGoAndFoldersStay) {
  const TempFolder folder;
  const std::string path = folder.File("x");
  MakeFolder(path + "/inner");
  MakeFile(path + "/inner/file");
  for (const char* name : {"/a", "/.hidden", "/__MACOSX", "/\xFF\xFE"}) MakeFile(path + name);
  ASSERT_EQ(mkfifo((path + "/pipe").c_str(), 0600), 0);
  Link("a", path + "/link");
  Link("nothing", path + "/dangling");
  Link("inner", path + "/inner-link");
  EXPECT_EQ(DeleteFiles(path), 0);
  EXPECT_EQ(errno, ENOTEMPTY);
  EXPECT_EQ(Tree(path), (Paths{"inner", "inner/file", "inner-link"}));
}

TEST(FolderDelete, AFolderOfFilesGoes) {
  const TempFolder folder;
  const std::string path = folder.File("x");
  for (const char* end : {"", "/"}) {
    MakeFolder(path);
    for (int i = 0; i < 1000; ++i) MakeFile(path + '/' + std::to_string(i));
    EXPECT_EQ(DeleteFiles(path + end), 1);
    EXPECT_FALSE(IsThere(path));
  }
}

TEST(FolderDelete, ThePathOfAFileDeletesNothing) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "text");
  folder.Write("other", "text");
  for (const Delete one : {&LFile::DeleteFolderAndFiles, kTrees[0], kTrees[1]}) {
    EXPECT_EQ(one(path.c_str()), 0);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(one(folder.File("missing").c_str()), 0);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(Tree(folder.Path()), (Paths{"file", "other"}));
  }
}

TEST(FolderDelete, AnEmptyPathDeletesNothing) {
  const TempFolder folder;
  folder.Write("file", "");
  char before[260];
  ASSERT_NE(LFile::GetCurrentDirectory(before), nullptr);
  ASSERT_EQ(LFile::SetCurrentDirectory(folder.Path().c_str()), 0);
  EXPECT_EQ(LFile::DeleteFolderAndFiles(""), 0);
  for (const Delete one : kTrees) EXPECT_EQ(one(""), 0);
  ASSERT_EQ(LFile::SetCurrentDirectory(before), 0);
  EXPECT_EQ(Tree(folder.Path()), Paths{"file"});
}

TEST(FolderDelete, ATreeGoesWhole) {
  const TempFolder folder;
  const std::string path = folder.File("tree");
  for (const Delete one : kTrees) {
    MakeFolder(path + "/a/b/c/d");
    MakeFolder(path + "/...");
    MakeFolder(path + "/.hidden");
    for (const char* name :
         {"/1", "/a/2", "/a/b/3", "/a/b/c/d/4", "/.../5", "/.hidden/6", "/a/__MACOSX", "/a/\xC3(", "/a/ ", "/a/*"}) {
      MakeFile(path + name);
    }
    ASSERT_EQ(mkfifo((path + "/pipe").c_str(), 0600), 0);
    Link("../1", path + "/a/link");
    Link("nothing", path + "/a/dangling");
    EXPECT_EQ(one(path.c_str()), 1);
    EXPECT_EQ(Tree(folder.Path()), Paths{});
  }
}

TEST(FolderDelete, ALinkToAFolderIsFollowedAndStays) {
  for (const Delete one : kTrees) {
    const TempFolder folder;
    MakeFolder(folder.File("other/inner"));
    folder.Write("other/inner/file", "");
    folder.Write("other/file", "");
    MakeFolder(folder.File("tree"));
    folder.Write("tree/file", "");
    Link("../other", folder.File("tree/link"));
    EXPECT_EQ(one(folder.File("tree").c_str()), 0);
    EXPECT_EQ(errno, ENOTEMPTY);
    EXPECT_EQ(Tree(folder.Path()), (Paths{"other", "tree", "tree/link"}));
  }
}

/// Links of which each leads to a folder with the next one.
std::string MakeLinkChain(const TempFolder& folder, int count) {
  for (int i = 0; i <= count; ++i) {
    const std::string at = folder.File("f" + std::to_string(i));
    MakeFolder(at);
    MakeFile(at + "/file");
    if (i < count) Link("../f" + std::to_string(i + 1), at + "/l");
  }
  // Links above the folder would count too.
  return std::filesystem::canonical(folder.File("f0")).string();
}

TEST(FolderDelete, FortyLinksAreFollowedAndTheNextIsNot) {
  {
    const TempFolder folder;
    EXPECT_EQ(LFile::DeleteFolderTree(MakeLinkChain(folder, 40).c_str()), 0);
    EXPECT_FALSE(IsThere(folder.File("f40/file")));
    EXPECT_TRUE(IsThere(folder.File("f39/l"))) << "followed";
  }
  const TempFolder folder;
  EXPECT_EQ(LFile::DeleteFolderTree(MakeLinkChain(folder, 41).c_str()), 0);
  EXPECT_FALSE(IsThere(folder.File("f40/file")));
  EXPECT_FALSE(IsThere(folder.File("f40/l"))) << "deleted as a file is";
  EXPECT_TRUE(IsThere(folder.File("f41/file")));
  EXPECT_TRUE(IsThere(folder.File("f39/l")));
}

TEST(FolderDelete, LinksToTheFolderItselfEnd) {
  const TempFolder folder;
  const std::string path = folder.File("x");
  MakeFolder(path);
  MakeFile(path + "/file");
  Link(".", path + "/a");
  Link(".", path + "/b");
  EXPECT_EQ(LFile::DeleteFolderTree(path.c_str()), 1) << "the forty-first is deleted, and it is all of them";
  EXPECT_FALSE(IsThere(path));
}

TEST(FolderDelete, APathThatIsALinkIsEmptied) {
  const TempFolder folder;
  MakeFolder(folder.File("tree/a"));
  folder.Write("tree/a/file", "");
  Link("tree", folder.File("link"));
  EXPECT_EQ(LFile::DeleteFolderTree(folder.File("link").c_str()), 0);
  EXPECT_EQ(Tree(folder.Path()), (Paths{"tree", "link"}));
}

/// A folder of a path of so many characters.
std::string MakeLongFolder(const TempFolder& folder, std::size_t length) {
  std::string path = folder.Path();
  while (length - path.size() > 200) path += "/" + std::string(99, 'x');
  path += "/" + std::string(length - path.size() - 1, 'y');
  MakeFolder(path);
  return path;
}

TEST(FolderDelete, WhatNoPathReachesIsLeftAlone) {
  for (const std::size_t length : {256u, 257u, 258u, 259u, 300u}) {
    SCOPED_TRACE(length);
    for (const Delete one : {&LFile::DeleteFolderAndFiles, kTrees[0], kTrees[1]}) {
      const TempFolder folder;
      const std::string path = MakeLongFolder(folder, length);
      MakeFile(path + "/f");
      MakeFile(path + "/ff");
      EXPECT_EQ(one(path.c_str()), length + 3 <= 259 ? 1 : 0);
      EXPECT_EQ(IsThere(path + "/f"), length + 2 > 259);
      EXPECT_EQ(IsThere(path + "/ff"), length + 3 > 259);
    }
  }
  const TempFolder folder;
  const std::string path = MakeLongFolder(folder, 250);
  MakeFolder(path + "/inner");
  MakeFile(path + "/inner/123");
  MakeFile(path + "/12345678");
  EXPECT_EQ(LFile::DeleteFolderTree(folder.Path().c_str()), 0);
  EXPECT_TRUE(IsThere(path)) << "what is below it is too long";
  EXPECT_FALSE(IsThere(path + "/12345678"));
  unlink((path + "/inner/123").c_str());
  EXPECT_EQ(LFile::DeleteFolderTree(folder.Path().c_str()), 1);
  MakeFolder(folder.Path());
}

TEST(FolderDelete, WhereJoinedPathsLeadElsewhereNothingIsDeleted) {
  const TempFolder folder;
  const std::string path = folder.File("tree\\");
  MakeFolder(path);
  MakeFile(path + "/file");
  folder.Write("tree\\file", "another one");
  for (const Delete one : {&LFile::DeleteFolderAndFiles, kTrees[0], kTrees[1]}) EXPECT_EQ(one(path.c_str()), 0);
  EXPECT_EQ(Tree(folder.Path()), (Paths{"tree\\", "tree\\/file", "tree\\file"}));
}

TEST(FolderDelete, DeepFoldersAreMet) {
  const TempFolder folder;
  support::DeepFolder deep(folder.Path(), 10000);
  ASSERT_EQ(deep.Depth(), 10000);
  EXPECT_EQ(LFile::DeleteFolderTree(folder.Path().c_str()), 0);
  EXPECT_EQ(LFile::DeleteFolderTreeAlways(folder.Path().c_str()), 0);
  LFile::SetFolderSecurityAllAccess(folder.Path().c_str());
  EXPECT_EQ(support::Mode(folder.File("d/d/d")), 0777u);
  EXPECT_EQ(deep.Take(), 10000);
}

/// But for '.' and '..'.
int CountEntries(const std::string& folder) {
  int count = -2;
  LFile::FolderIteratorAllFiles files;
  for (int found = files.Open(folder.c_str()); found != 0; found = files.Next()) ++count;
  return count;
}

TEST(FolderDelete, ManyFilesAreListedAndGo) {
  const bool is_long = std::getenv("TILLVANE_TEST_LONG") != nullptr;
  const int count = is_long ? 1000000 : 20000;
  const TempFolder folder;
  MakeFolder(folder.File("many"));
  const int many = open(folder.File("many").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  for (int i = 0; i < count; ++i) {
    const int file = openat(many, std::to_string(i).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    close(file);
  }
  close(many);
  EXPECT_EQ(CountEntries(folder.File("many")), count);
  EXPECT_EQ(LFile::DeleteFolderTree(folder.File("many").c_str()), 1);
  EXPECT_FALSE(IsThere(folder.File("many")));
}

TEST(FolderDelete, AFolderThatMayNotBeWrittenKeepsWhatItHas) {
  const TempFolder folder;
  const support::Unprivileged unprivileged(folder.Path());
  MakeFolder(folder.File("closed"));
  folder.Write("closed/file", "");
  chmod(folder.File("closed").c_str(), 0500);
  EXPECT_EQ(LFile::DeleteFolderTree(folder.Path().c_str()), 0);
  EXPECT_TRUE(IsThere(folder.File("closed/file")));
}

}  // namespace
