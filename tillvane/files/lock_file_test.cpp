#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/file_mask.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LLockFile.h>

namespace {

using support::IsThere;
using support::TempFolder;

TEST(LockFile, StandsBesideTheFile) {
  const TempFolder folder;
  const struct {
    const char *file, *lock;
  } cases[] = {{"app.db", "app.lck"}, {"app", "app.lck"}, {"a.b.c", "a.b.lck"}, {".db", ".lck"}};
  for (const auto& one : cases) {
    LLockFile lock;
    EXPECT_EQ(lock.Lock(folder.File(one.file).c_str()), 1);
    EXPECT_GE(lock.filedes, 0);
    EXPECT_EQ(lock.path, folder.File(one.lock));
    EXPECT_TRUE(IsThere(folder.File(one.lock)));
    EXPECT_FALSE(IsThere(folder.File(one.file)));
    EXPECT_NE(fcntl(lock.filedes, F_GETFD) & FD_CLOEXEC, 0);
  }
}

TEST(LockFile, IsHeldUntilItsDescriptorIsClosed) {
  const TempFolder folder;
  const std::string path = folder.File("app.db"), lock_path = folder.File("app.lck");
  LLockFile second;
  {
    LLockFile first;
    EXPECT_EQ(first.Lock(path.c_str()), 1);
    EXPECT_EQ(second.Lock(path.c_str()), 0);
    EXPECT_EQ(LFile::IsErrorSharingViolation(), 1);
    EXPECT_EQ(second.filedes, -1);
    EXPECT_EQ(second.path, lock_path);
    EXPECT_EQ(LFile::TestFileShareReadBlocked(lock_path.c_str()), 1);
  }
  EXPECT_TRUE(IsThere(lock_path)) << "the file stays";
  EXPECT_EQ(second.Lock(path.c_str()), 1);
}

TEST(LockFile, OneThatIsOpenIsDeletedFirst) {
  const TempFolder folder;
  LLockFile lock;
  EXPECT_EQ(lock.Lock(folder.File("a.db").c_str()), 1);
  EXPECT_EQ(lock.Lock(folder.File("b.db").c_str()), 1);
  EXPECT_FALSE(IsThere(folder.File("a.lck")));
  EXPECT_TRUE(IsThere(folder.File("b.lck")));
  EXPECT_EQ(lock.Lock(lock.path), 1) << "its own path";
  EXPECT_EQ(lock.path, folder.File("b.lck"));
  LLockFile other;
  EXPECT_EQ(other.Lock(folder.File("b.db").c_str()), 0);
}

TEST(LockFile, EmptiesItsFileOnlyWithTheLock) {
  const TempFolder folder;
  const std::string path = folder.Write("app.lck", "text");
  LLockFile first, second;
  EXPECT_EQ(first.Lock(folder.File("app.db").c_str()), 1);
  EXPECT_EQ(support::Contents(path), "");
  ASSERT_EQ(write(first.filedes, "12", 2), 2);
  EXPECT_EQ(second.Lock(folder.File("app.db").c_str()), 0);
  EXPECT_EQ(support::Contents(path), "12");
}

TEST(LockFile, ALockThatCannotBeMadeDoesNotStopTheCaller) {
  const TempFolder folder;
  folder.Write("file", "");
  support::MakeFolder(folder.File("folder.lck"));
  ASSERT_EQ(mkfifo(folder.File("pipe.lck").c_str(), 0600), 0);
  for (const char* name : {"missing/app.db", "file/app.db", "folder.db", "pipe.db"}) {
    LLockFile lock;
    EXPECT_EQ(lock.Lock(folder.File(name).c_str()), 1) << name;
    EXPECT_EQ(lock.filedes, -1);
  }
}

TEST(LockFile, ALongPathIsCut) {
  const std::string path = "/missing/" + std::string(400, 'x') + ".db";
  LLockFile lock;
  EXPECT_EQ(lock.Lock(path.c_str()), 1);
  EXPECT_EQ(lock.path, path.substr(0, 259));
}

TEST(LockFile, TheMaskCounts) {
  const TempFolder folder;
  LLockFile lock;
  const support::FileMask mask(022);
  EXPECT_EQ(lock.Lock(folder.File("app.db").c_str()), 1);
  EXPECT_EQ(support::Mode(folder.File("app.lck")), 0755u);
}

}  // namespace
