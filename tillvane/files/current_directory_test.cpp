#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/path_calls.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

using support::calls::Output;

/// Tests that change the current directory leave it as they found it.
class CurrentDirectory : public testing::Test {
 protected:
  ~CurrentDirectory() override { std::filesystem::current_path(before_); }

  support::TempFolder folder_;
  const std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(CurrentDirectory, IsWhatItWasSetTo) {
  const std::string path = std::filesystem::canonical(folder_.Path());
  EXPECT_EQ(LFile::SetCurrentDirectory(path.c_str()), 0);
  Output out;
  EXPECT_EQ(LFile::GetCurrentDirectory(out), static_cast<char*>(out));
  EXPECT_EQ(out.Text(), path);
  EXPECT_EQ(LFile::SetCurrentDirectory("/"), 0);
  LFile::GetCurrentDirectory(out);
  EXPECT_EQ(out.Text(), "/");
}

TEST_F(CurrentDirectory, StaysWhereAPathIsNoFolder) {
  const std::string file = folder_.Write("file", "");
  for (const auto& [path, error] : {std::pair(file, ENOTDIR), {folder_.File("missing"), ENOENT}, {"", ENOENT}}) {
    errno = 0;
    EXPECT_EQ(LFile::SetCurrentDirectory(path.c_str()), -1) << path;
    EXPECT_EQ(errno, error) << path;
  }
  EXPECT_EQ(std::filesystem::current_path(), before_);
}

TEST_F(CurrentDirectory, MustFit) {
  // Down to a folder of 259 characters, and to one of 260.
  std::filesystem::current_path(folder_.Path());
  std::string path = std::filesystem::current_path();
  while (path.size() < 259) {
    const std::size_t left = 259 - path.size() - 1;
    // No name is empty: one that would leave room for a slash alone is longer by one.
    const std::string name(left > 100 ? (left == 101 ? 99 : 100) : left, 'd');
    ASSERT_EQ(mkdir(name.c_str(), 0700), 0) << name;
    ASSERT_EQ(LFile::SetCurrentDirectory(name.c_str()), 0);
    path += '/' + name;
  }
  ASSERT_EQ(path.size(), 259U);
  Output out;
  EXPECT_NE(LFile::GetCurrentDirectory(out), nullptr);
  EXPECT_EQ(out.Text(), path);

  const std::string longer = path.substr(path.rfind('/') + 1) + 'd';
  ASSERT_EQ(mkdir(("../" + longer).c_str(), 0700), 0);
  ASSERT_EQ(LFile::SetCurrentDirectory(("../" + longer).c_str()), 0);
  errno = 0;
  EXPECT_EQ(LFile::GetCurrentDirectory(out), nullptr);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(out.Text(), "");
}

TEST_F(CurrentDirectory, ThatIsGoneCannotBeRead) {
  const std::string gone = folder_.File("gone");
  ASSERT_EQ(mkdir(gone.c_str(), 0700), 0);
  ASSERT_EQ(LFile::SetCurrentDirectory(gone.c_str()), 0);
  std::filesystem::remove(gone);
  Output out;
  errno = 0;
  EXPECT_EQ(LFile::GetCurrentDirectory(out), nullptr);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(out.Text(), "");
}

}  // namespace
