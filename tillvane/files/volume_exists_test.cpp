#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

class VolumeExists : public testing::Test {
 protected:
  void SetUp() override { std::filesystem::current_path(folder_.Path()); }
  void TearDown() override { std::filesystem::current_path(before_); }

  static void Expect(const std::string& path, bool is_there) {
    EXPECT_EQ(LFile::TestFileExists(path.c_str()), is_there) << path;
    EXPECT_EQ(LFile::TestFolderExists(path.c_str()), is_there) << path;
  }

  const support::TempFolder folder_;
  const std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(VolumeExists, NeitherTestLooksAtTheKind) {
  const std::string file = folder_.Write("file", "");
  ASSERT_EQ(mkdir(folder_.File("folder").c_str(), 0700), 0);
  ASSERT_EQ(mkfifo(folder_.File("pipe").c_str(), 0600), 0);
  ASSERT_EQ(symlink("file", folder_.File("link").c_str()), 0);
  for (const char* name : {"file", "folder", "folder/", "folder/..", "pipe", "link", "."}) {
    Expect(name, true);
    Expect(folder_.File(name), true);
  }
  // To read it is not asked.
  ASSERT_EQ(chmod(file.c_str(), 0), 0);
  Expect(file, true);
}

TEST_F(VolumeExists, WhatIsNotThere) {
  folder_.Write("file", "");
  ASSERT_EQ(symlink("nothing", folder_.File("dangling").c_str()), 0);
  ASSERT_EQ(symlink("circle", folder_.File("circle").c_str()), 0);
  for (const std::string& path :
       {std::string("missing"), folder_.File("missing"), folder_.File("missing/x"), folder_.File("file/"),
        folder_.File("dangling"), folder_.File("circle"), std::string(), folder_.File(std::string(300, 'x'))}) {
    Expect(path, false);
  }
}

TEST_F(VolumeExists, ANameThatIsTheEncodedPathCounts) {
  const std::string missing = "/no such/file";
  Expect(missing, false);
  folder_.Write("%2Fno%20such%2Ffile", "");
  Expect(missing, true);
  // Only in the current directory, and only under this very name.
  Expect("/no such/fil", false);
  std::filesystem::current_path("/");
  Expect(missing, false);
}

}  // namespace
