#include <tests/support/temp_folder.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include <gtest/gtest.h>

#include <tests/support/file_mask.h>

namespace {

namespace fs = std::filesystem;

unsigned int ModeOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

TEST(TempFolder, IsForItsOwnerAlone) {
  const support::FileMask none(0);
  const support::TempFolder folder;
  const std::string file = folder.Write("a", "text");
  EXPECT_EQ(ModeOf(folder.Path()), 0700U);
  EXPECT_EQ(ModeOf(file), 0600U);
}

TEST(TempFolder, WritesWhatIsGiven) {
  const support::TempFolder folder;
  folder.Write("a", "something longer");
  std::ifstream file(folder.Write("a", std::string("b\0c", 3)));
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), std::string("b\0c", 3));
}

TEST(TempFolder, TwoAreDifferent) {
  const support::TempFolder one;
  const support::TempFolder other;
  EXPECT_NE(one.Path(), other.Path());
}

TEST(TempFolder, IsGoneAtTheEndWhateverATestDidToIt) {
  auto folder = std::make_unique<support::TempFolder>();
  const std::string path = folder->Path();
  fs::create_directories(folder->File("a/b/c"));
  folder->Write("a/b/c/file", "text");
  fs::create_directory_symlink("/", folder->File("a/link"));
  ASSERT_EQ(chmod(folder->File("a/b/c").c_str(), 0500), 0);
  ASSERT_EQ(chmod(folder->File("a/b").c_str(), 0), 0);
  folder.reset();
  EXPECT_FALSE(fs::exists(path)) << path;
}

}  // namespace
