#include <cerrno>

#include <gtest/gtest.h>

#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

TEST(FileAttributes, AFileThatIsNotThereCannotBeMarked) {
  const support::TempFolder folder;
  const std::string missing = folder.File("missing");
  for (const char* path : {missing.c_str(), ""}) {
    errno = 0;
    EXPECT_EQ(LFile::SetFileAttributeTextEncodingUTF8(path), -1);
    EXPECT_EQ(errno, ENOENT) << path;
  }
  EXPECT_EQ(LFile::SetFileAttributeTextEncodingUTF8(nullptr), -1);
}

}  // namespace
