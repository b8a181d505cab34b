#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/file_mask.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

using support::MakeFolder;
using support::Mode;
using support::TempFolder;

void OpenToAll(const std::string& path) { LFile::SetFolderSecurityAllAccess(path.c_str()); }

TEST(FolderAccess, EverythingInAFolderIsEverybodys) {
  const TempFolder folder;
  MakeFolder(folder.File("a/.b/c"));
  for (const char* name : {"1", ".2", "a/3", "a/.b/c/__MACOSX"}) folder.Write(name, "");
  chmod(folder.File("a/.b").c_str(), 0);
  chmod(folder.File("a").c_str(), 0);
  const support::FileMask mask(077);
  OpenToAll(folder.Path());
  EXPECT_EQ(Mode(folder.Path()), 0777u);
  for (const std::string& path : support::Tree(folder.Path())) EXPECT_EQ(Mode(folder.File(path)), 0777u) << path;
}

TEST(FolderAccess, AFileIsEverybodysAndItsFolderIsNot) {
  const TempFolder folder;
  const std::string file = folder.Write("file", ""), other = folder.Write("other", "");
  OpenToAll(file);
  EXPECT_EQ(Mode(file), 0777u);
  EXPECT_EQ(Mode(other), 0600u);
  EXPECT_EQ(Mode(folder.Path()), 0700u);
  OpenToAll(folder.File("missing"));
  OpenToAll("");
}

TEST(FolderAccess, LinksAreFollowed) {
  const TempFolder folder;
  MakeFolder(folder.File("tree"));
  MakeFolder(folder.File("other"));
  const std::string file = folder.Write("file", ""), inner = folder.Write("other/inner", "");
  ASSERT_EQ(symlink("../file", folder.File("tree/to-file").c_str()), 0);
  ASSERT_EQ(symlink("../other", folder.File("tree/to-folder").c_str()), 0);
  ASSERT_EQ(symlink("nothing", folder.File("tree/dangling").c_str()), 0);
  OpenToAll(folder.File("tree"));
  EXPECT_EQ(Mode(file), 0777u);
  EXPECT_EQ(Mode(folder.File("other")), 0777u);
  EXPECT_EQ(Mode(inner), 0777u);
  EXPECT_EQ(Mode(folder.Path()), 0700u);
}

TEST(FolderAccess, LinksUpwardsEnd) {
  const TempFolder folder;
  MakeFolder(folder.File("a/b"));
  const std::string file = folder.Write("a/b/file", "");
  // Followed again and again, these would be more ways than anybody could go.
  for (const char* name : {"a/1", "a/2", "a/b/3", "a/b/4"}) ASSERT_EQ(symlink("..", folder.File(name).c_str()), 0);
  for (const char* name : {"a/5", "a/b/6"}) ASSERT_EQ(symlink(".", folder.File(name).c_str()), 0);
  OpenToAll(folder.Path());
  EXPECT_EQ(Mode(file), 0777u);
}

TEST(FolderAccess, WhatNoPathReachesIsLeftAlone) {
  const TempFolder folder;
  std::string path = folder.Path() + '/';
  path += std::string(200, 'x') + '/';
  path += std::string(257 - path.size(), 'y');
  MakeFolder(path);
  const std::string reached = path + "/f", beyond = path + "/ff";
  for (const std::string& file : {reached, beyond}) {
    support::MakeFile(file);
    chmod(file.c_str(), 0600);
  }
  OpenToAll(folder.Path());
  EXPECT_EQ(Mode(reached), 0777u);
  EXPECT_EQ(Mode(beyond), 0600u);
}

}  // namespace
