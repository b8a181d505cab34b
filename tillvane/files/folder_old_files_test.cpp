#include <sys/stat.h>
#include <unistd.h>

#include <set>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

using support::TempFolder;
using support::Tree;

using Paths = std::set<std::string>;

// A link to nothing has the time 0, so that it is always old.

TEST(FolderOldFiles, WhatIsNewStays) {
  const TempFolder folder;
  folder.Write("a.txt", "");
  for (const int days : {1, 2, 10000}) LFile::DeleteOldFiles(folder.Path().c_str(), "*", days);
  EXPECT_EQ(Tree(folder.Path()), Paths{"a.txt"});
}

TEST(FolderOldFiles, WithoutDaysNothingHappens) {
  const TempFolder folder;
  ASSERT_EQ(symlink("nothing", folder.File("link").c_str()), 0);
  for (const int days : {0, -1, -10000}) LFile::DeleteOldFiles(folder.Path().c_str(), "*", days);
  EXPECT_EQ(Tree(folder.Path()), Paths{"link"});
  LFile::DeleteOldFiles(folder.Path().c_str(), "*", 1);
  EXPECT_EQ(Tree(folder.Path()), Paths{});
}

TEST(FolderOldFiles, OnlyWhatIsListedIsDeleted) {
  const TempFolder folder;
  for (const char* name : {"a.TXT", "b.txt", ".hidden.txt", "__MACOSX.txt", "c.jpg"}) {
    ASSERT_EQ(symlink("nothing", folder.File(name).c_str()), 0);
  }
  LFile::DeleteOldFiles(folder.Path().c_str(), "*.txt", 1);
  EXPECT_EQ(Tree(folder.Path()), (Paths{".hidden.txt", "__MACOSX.txt", "c.jpg"}));
}

TEST(FolderOldFiles, PathsThatAreNoFoldersHaveNoEntries) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "");
  LFile::DeleteOldFiles(path.c_str(), "*", 1);
  LFile::DeleteOldFiles(folder.File("missing").c_str(), "*", 1);
  LFile::DeleteOldFiles("", "*", 1);
  EXPECT_EQ(Tree(folder.Path()), Paths{"file"});
}

}  // namespace
