#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <linux/fs.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>
#include <tillvane/platform/file_object.h>

namespace {

using platform::FileLock;
using platform::OpenFor;
using support::IsThere;
using support::TempFolder;

int Flags(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  int flags = -1;
  if (ioctl(file, FS_IOC_GETFLAGS, &flags) != 0) flags = -1;
  close(file);
  return flags;
}

bool SetFlags(const std::string& path, int flags) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  const bool is_set = ioctl(file, FS_IOC_SETFLAGS, &flags) == 0;
  close(file);
  return is_set;
}

/// Where flags can be set; they are taken away at the end, so that everything can be deleted.
class FileFlagsLinux : public testing::Test {
 protected:
  void SetUp() override {
    if (Flags(file_) < 0 || !SetFlags(file_, Flags(file_) | FS_IMMUTABLE_FL)) {
      GTEST_SKIP() << "no file can be marked here: " << std::strerror(errno);
    }
  }
  ~FileFlagsLinux() override {
    for (const std::string& path : {tree_, file_, other_}) platform::ClearFileFlags(path.c_str());
    SetFlags(tree_, 0);
  }

  const TempFolder folder_;
  const std::string tree_ = folder_.File("tree"), file_ = MakeIn("immutable"), other_ = MakeIn("append");

 private:
  std::string MakeIn(const char* name) {
    support::MakeFolder(tree_);
    support::MakeFile(tree_ + '/' + name);
    return tree_ + '/' + name;
  }
};

TEST_F(FileFlagsLinux, OnlyAlwaysDeletesWhatIsMarked) {
  ASSERT_TRUE(SetFlags(other_, Flags(other_) | FS_APPEND_FL));
  EXPECT_EQ(LFile::DeleteFolderTree(tree_.c_str()), 0);
  EXPECT_EQ(LFile::DeleteFolderAndFiles(tree_.c_str()), 0);
  EXPECT_TRUE(IsThere(file_));
  EXPECT_TRUE(IsThere(other_));
  EXPECT_EQ(LFile::DeleteFolderTreeAlways(tree_.c_str()), 1);
  EXPECT_FALSE(IsThere(tree_));
}

TEST_F(FileFlagsLinux, OtherFlagsStay) {
  ASSERT_EQ(platform::ClearFileFlags(file_.c_str()), 0);
  ASSERT_TRUE(SetFlags(file_, FS_IMMUTABLE_FL | FS_APPEND_FL | FS_NODUMP_FL));
  EXPECT_EQ(platform::ClearFileFlags(file_.c_str()), 0);
  const int flags = Flags(file_);
  EXPECT_EQ(flags & (FS_IMMUTABLE_FL | FS_APPEND_FL | FS_NODUMP_FL), FS_NODUMP_FL);
}

TEST_F(FileFlagsLinux, FoldersAndLinksAreNotTouched) {
  ASSERT_EQ(symlink(file_.c_str(), folder_.File("link").c_str()), 0);
  EXPECT_EQ(platform::ClearFileFlags(folder_.File("link").c_str()), -1);
  EXPECT_NE(Flags(file_) & FS_IMMUTABLE_FL, 0);
  EXPECT_EQ(platform::ClearFileFlags(file_.c_str()), 0);
  ASSERT_TRUE(SetFlags(tree_, Flags(tree_) | FS_APPEND_FL));
  EXPECT_EQ(platform::ClearFileFlags(tree_.c_str()), -1);
  EXPECT_EQ(LFile::DeleteFolderTreeAlways(tree_.c_str()), 0);
  EXPECT_TRUE(IsThere(file_)) << "in a folder that is marked itself";
}

TEST(OpenLockedLinux, SharedLocksGoTogether) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "text");
  const auto open_locked = [&](OpenFor purpose, FileLock lock) {
    return platform::OpenLocked(path.c_str(), purpose, lock, 0600);
  };
  const int one = open_locked(OpenFor::kReading, FileLock::kShared);
  const int other = open_locked(OpenFor::kReading, FileLock::kShared);
  EXPECT_GE(one, 0);
  EXPECT_GE(other, 0);
  for (const OpenFor purpose : {OpenFor::kReading, OpenFor::kReplacing}) {
    EXPECT_EQ(open_locked(purpose, FileLock::kExclusive), -1);
    EXPECT_EQ(errno, EAGAIN);
  }
  EXPECT_EQ(support::Contents(path), "text");
  close(one);
  close(other);
  const int alone = open_locked(OpenFor::kReplacing, FileLock::kExclusive);
  EXPECT_GE(alone, 0);
  EXPECT_EQ(support::Contents(path), "");
  close(alone);
}

TEST(CopyObjectLinux, AFileInTheWayThatCannotBeDeletedIsOverwritten) {
  const TempFolder folder;
  const std::string source = folder.Write("source", "new"), copy = folder.Write("copy", "what was there before");
  EXPECT_EQ(platform::CopyObject(source.c_str(), copy.c_str()), 0);
  EXPECT_EQ(support::Contents(copy), "new");
  EXPECT_EQ(platform::CopyObject(source.c_str(), source.c_str()), -1);
  EXPECT_EQ(errno, EINVAL);
  EXPECT_EQ(support::Contents(source), "new");
  ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
  EXPECT_EQ(platform::CopyObject(source.c_str(), folder.File("pipe").c_str()), -1) << "and nobody waits";
}

TEST(CopyBytesLinux, GoesOnWhereTheFilesStand) {
  const TempFolder folder;
  const int from = open(folder.Write("source", "0123456789").c_str(), O_RDONLY | O_CLOEXEC);
  const int to = open(folder.File("copy").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  for (const auto holes : {platform::Holes::kNone, platform::Holes::kKept}) {
    EXPECT_EQ(platform::CopyBytes(from, to, 3, holes), 3u);
    EXPECT_EQ(lseek(from, 0, SEEK_CUR), lseek(to, 0, SEEK_CUR));
  }
  EXPECT_EQ(platform::CopyBytes(from, to, 100, platform::Holes::kNone), 4u);
  EXPECT_EQ(platform::CopyBytes(from, to, 100, platform::Holes::kNone), 0u);
  EXPECT_EQ(platform::CopyBytes(from, to, 100, platform::Holes::kKept), 0u);
  EXPECT_EQ(errno, 0) << "the end";
  EXPECT_EQ(platform::CopyBytes(-1, to, 100, platform::Holes::kNone), 0u);
  EXPECT_EQ(errno, EBADF);
  close(from);
  close(to);
  EXPECT_EQ(support::Contents(folder.File("copy")), "0123456789");
}

}  // namespace
