#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

using support::Contents;
using support::IsThere;
using support::MakeFolder;
using support::TempFolder;
using support::Tree;

using Paths = std::set<std::string>;

void Copy(const std::string& source, const std::string& destination) {
  LFile::CopyFolderFiles(source.c_str(), destination.c_str());
}

TEST(FolderCopy, EverythingIsCopied) {
  const TempFolder folder;
  MakeFolder(folder.File("tree/a/b"));
  MakeFolder(folder.File("tree/.hidden"));
  for (const char* name : {"tree/1", "tree/a/2", "tree/a/b/3", "tree/.hidden/4", "tree/__MACOSX", "tree/\xFF\xC3"}) {
    folder.Write(name, name);
  }
  chmod(folder.File("tree/a/2").c_str(), 0751);
  for (const char* destination : {"copy", "new/in/new", "copy"}) {
    Copy(folder.File("tree"), folder.File(destination));
    EXPECT_EQ(Tree(folder.File(destination)), Tree(folder.File("tree"))) << destination;
    EXPECT_EQ(Contents(folder.File(destination) + "/a/b/3"), "tree/a/b/3");
    EXPECT_EQ(support::Mode(folder.File(destination) + "/a/2"), 0751u);
  }
}

TEST(FolderCopy, WhatIsThereIsReplacedAndTheRestStays) {
  const TempFolder folder;
  MakeFolder(folder.File("tree/a"));
  MakeFolder(folder.File("copy/a"));
  folder.Write("tree/a/file", "new");
  folder.Write("copy/a/file", "what was there before");
  folder.Write("copy/a/other", "other");
  Copy(folder.File("tree"), folder.File("copy"));
  EXPECT_EQ(Contents(folder.File("copy/a/file")), "new");
  EXPECT_EQ(Contents(folder.File("copy/a/other")), "other");
}

TEST(FolderCopy, AFolderOntoItselfIsNotTouched) {
  const TempFolder folder;
  MakeFolder(folder.File("tree/a"));
  folder.Write("tree/a/file", "text");
  ASSERT_EQ(symlink("a/file", folder.File("tree/link").c_str()), 0);
  const auto before = Tree(folder.File("tree"));
  Copy(folder.File("tree"), folder.File("tree"));
  EXPECT_EQ(Tree(folder.File("tree")), before);
  EXPECT_EQ(Contents(folder.File("tree/a/file")), "text");
}

TEST(FolderCopy, FailuresDoNotEndIt) {
  const TempFolder folder;
  MakeFolder(folder.File("tree/a"));
  MakeFolder(folder.File("copy/file"));
  folder.Write("tree/a/inner", "");
  folder.Write("copy/a", "a file in the way");
  folder.Write("tree/file", "a folder in the way");
  for (int i = 0; i < 20; ++i) folder.Write("tree/" + std::to_string(i), "");
  ASSERT_EQ(mkfifo(folder.File("tree/pipe").c_str(), 0600), 0);
  Copy(folder.File("tree"), folder.File("copy"));
  EXPECT_EQ(Contents(folder.File("copy/a")), "a file in the way");
  EXPECT_EQ(Tree(folder.File("copy/file")), Paths{});
  EXPECT_EQ(Tree(folder.File("copy")).size(), 22u);
}

TEST(FolderCopy, NothingIsDoneWithoutBothFolders) {
  const TempFolder folder;
  const std::string file = folder.Write("file", "text");
  MakeFolder(folder.File("tree"));
  folder.Write("tree/inner", "");
  Copy(file, folder.File("copy"));
  Copy(folder.File("missing"), folder.File("copy"));
  Copy("", folder.File("copy"));
  Copy(folder.File("tree"), file);
  Copy(folder.File("tree"), folder.File("file/copy"));
  Copy(folder.File("tree"), "");
  EXPECT_EQ(Tree(folder.Path()), (Paths{"file", "tree", "tree/inner"}));
  EXPECT_EQ(Contents(file), "text");
}

TEST(FolderCopy, LinksToFoldersAreFollowedAndOthersCopied) {
  const TempFolder folder;
  MakeFolder(folder.File("tree"));
  MakeFolder(folder.File("other"));
  folder.Write("other/file", "text");
  const struct {
    const char *target, *name;
  } links[] = {{"../other", "folder"}, {"../other/file", "file"}, {"nothing", "dangling"}};
  for (const auto& one : links) ASSERT_EQ(symlink(one.target, folder.File(std::string("tree/") + one.name).c_str()), 0);
  Copy(folder.File("tree"), folder.File("copy"));
  EXPECT_EQ(Tree(folder.File("copy")), (Paths{"folder", "folder/file", "file", "dangling"}));
  struct stat status;
  ASSERT_EQ(lstat(folder.File("copy/folder").c_str(), &status), 0);
  EXPECT_TRUE(S_ISDIR(status.st_mode));
  ASSERT_EQ(lstat(folder.File("copy/file").c_str(), &status), 0);
  EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST(FolderCopy, AFolderThatCannotBeAskedAboutIsNotMade) {
  const TempFolder folder;
  const support::Unprivileged unprivileged(folder.Path());
  MakeFolder(folder.File("tree/inner"));
  ASSERT_EQ(chmod(folder.File("tree").c_str(), 0400), 0);
  Copy(folder.File("tree"), folder.File("copy"));
  chmod(folder.File("tree").c_str(), 0700);
  EXPECT_EQ(Tree(folder.File("copy")), Paths{});
}

TEST(FolderCopy, FoldersThatAreMadeAreAsTheMaskHasThem) {
  const TempFolder folder;
  MakeFolder(folder.File("tree/inner"));
  ASSERT_EQ(chmod(folder.File("tree/inner").c_str(), 0700), 0);
  for (const mode_t mask : {mode_t{0}, mode_t{027}}) {
    const std::string copy = folder.File("copy" + std::to_string(mask));
    const mode_t before = umask(mask);
    Copy(folder.File("tree"), copy);
    umask(before);
    EXPECT_EQ(support::Mode(copy), 0777u & ~mask);
    EXPECT_EQ(support::Mode(copy + "/inner"), 0777u & ~mask);
  }
}

TEST(FolderCopy, WhatNoPathReachesIsLeftAlone) {
  const TempFolder folder;
  const std::string name(255, 'n');
  MakeFolder(folder.File("tree/a"));
  for (const std::string& path : {"tree/" + name, "tree/a/" + name, std::string("tree/a/short")})
    folder.Write(path, "");
  Copy(folder.File("tree"), folder.File("copy"));
  EXPECT_EQ(Tree(folder.File("copy")), (Paths{"a", "a/short"}));
  char before[260];
  ASSERT_NE(LFile::GetCurrentDirectory(before), nullptr);
  ASSERT_EQ(LFile::SetCurrentDirectory(folder.Path().c_str()), 0);
  Copy("tree", "d");
  ASSERT_EQ(LFile::SetCurrentDirectory(before), 0);
  EXPECT_FALSE(IsThere(folder.File("d/" + name))) << "its own path is short enough, but not the source's";
}

TEST(FolderCopy, WhatIsInAFolderThatNoPathReachesIsNotCopiedElsewhere) {
  const TempFolder folder;
  const std::string name(100, 's'), destination = folder.File(std::string(259 - 50 - folder.Path().size(), 'd'));
  MakeFolder(folder.File("tree/" + name));
  folder.Write("tree/" + name + "/f", "");
  folder.Write("tree/g", "");
  Copy(folder.File("tree"), destination);
  EXPECT_EQ(Tree(destination), (Paths{"g"}));
}

TEST(FolderCopy, DeepFoldersAreMet) {
  const TempFolder folder;
  MakeFolder(folder.File("tree"));
  support::DeepFolder deep(folder.File("tree"), 10000);
  ASSERT_EQ(deep.Depth(), 10000);
  Copy(folder.File("tree"), folder.File("copy"));
  EXPECT_TRUE(IsThere(folder.File("copy/d/d/d")));
}

TEST(FolderCopy, AFolderInItselfEndsWithThePath) {
  const TempFolder folder;
  folder.Write("file", "");
  Copy(folder.Path(), folder.File("copy"));
  EXPECT_TRUE(IsThere(folder.File("copy/file")));
}

}  // namespace
