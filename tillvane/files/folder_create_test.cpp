#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/file_mask.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

using support::IsThere;
using support::TempFolder;
using support::Tree;

using Paths = std::set<std::string>;

int Create(const std::string& path) { return LFile::CreateFolderTree(path.c_str()); }

TEST(FolderCreate, MakesWhatIsMissing) {
  const TempFolder folder;
  EXPECT_EQ(Create(folder.File("x/y/z")), 1);
  EXPECT_EQ(Tree(folder.Path()), (Paths{"x", "x/y", "x/y/z"}));
  EXPECT_EQ(Create(folder.File("x/y/w")), 1);
  EXPECT_EQ(Tree(folder.Path()), (Paths{"x", "x/y", "x/y/z", "x/y/w"}));
}

TEST(FolderCreate, OfAFolderThatIsThereIsAFailure) {
  const TempFolder folder;
  folder.Write("file", "text");
  chmod(folder.Path().c_str(), 0710);
  EXPECT_EQ(Create(folder.Path()), 0);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(LFile::IsErrorAlreadyExists(), 1);
  EXPECT_EQ(support::Mode(folder.Path()), 0710u);
  EXPECT_EQ(Tree(folder.Path()), Paths{"file"});
  for (const char* path : {"/", ".", ".."}) EXPECT_EQ(Create(path), 0) << path;
}

TEST(FolderCreate, ASlashAtTheEndMakesTheFolderItsOwnParent) {
  const TempFolder folder;
  EXPECT_EQ(Create(folder.File("x/")), 0) << "it has been made as the parent";
  EXPECT_EQ(Tree(folder.Path()), Paths{"x"});
}

TEST(FolderCreate, FailsWhereNoFolderCanBe) {
  const TempFolder folder;
  folder.Write("file", "");
  EXPECT_EQ(Create(folder.File("file")), 0);
  EXPECT_EQ(Create(folder.File("file/x/y")), 0);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_EQ(Create(""), 0);
  EXPECT_EQ(Create(folder.File(std::string(256, 'n'))), 0);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_EQ(Create(folder.File("a/" + std::string(256, 'n'))), 0);
  EXPECT_EQ(Tree(folder.Path()), (Paths{"file", "a"})) << "a parent stays";
}

TEST(FolderCreate, TheReasonIsThatOfTheParentThatCannotBe) {
  const TempFolder folder;
  const support::Unprivileged unprivileged(folder.Path());
  ASSERT_EQ(chmod(folder.Path().c_str(), 0500), 0);
  const int result = Create(folder.File("a/b/c"));
  const int error = errno;
  chmod(folder.Path().c_str(), 0700);
  EXPECT_EQ(result, 0);
  EXPECT_EQ(error, EACCES);
}

TEST(FolderCreate, ThePathMayHaveNoFolder) {
  const TempFolder folder;
  char before[260];
  ASSERT_NE(LFile::GetCurrentDirectory(before), nullptr);
  ASSERT_EQ(LFile::SetCurrentDirectory(folder.Path().c_str()), 0);
  EXPECT_EQ(Create("one"), 1);
  EXPECT_EQ(Create("two/three"), 1);
  ASSERT_EQ(LFile::SetCurrentDirectory(before), 0);
  EXPECT_EQ(Tree(folder.Path()), (Paths{"one", "two", "two/three"}));
}

TEST(FolderCreate, TheMaskCounts) {
  const TempFolder folder;
  {
    const support::FileMask mask(027);
    EXPECT_EQ(Create(folder.File("x/y")), 1);
  }
  {
    const support::FileMask none(0);
    EXPECT_EQ(Create(folder.File("z")), 1);
  }
  EXPECT_EQ(support::Mode(folder.File("x")), 0750u);
  EXPECT_EQ(support::Mode(folder.File("x/y")), 0750u);
  EXPECT_EQ(support::Mode(folder.File("z")), 0777u);
}

TEST(FolderCreate, APathThatIsTooLongHasTheFolderOfItsBeginning) {
  const TempFolder folder;
  std::string path = folder.Path();
  while (path.size() < 240) path += "/x";
  const std::string beginning = path;
  path += "/" + std::string(200, 'y');
  EXPECT_EQ(Create(path), 1);
  EXPECT_TRUE(IsThere(path));
  EXPECT_EQ(Create(path + "/z/w"), 0) << "the folder of the first 259 characters is not where it would be";
}

}  // namespace
