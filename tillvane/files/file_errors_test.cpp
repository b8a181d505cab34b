#include <cerrno>

#include <gtest/gtest.h>

#include <tests/support/background.h>
#include <tillvane/files/LFile.h>

namespace {

TEST(FileErrors, AreThoseOfErrno) {
  const struct {
    int error, not_found, denied, exists, sharing;
  } cases[] = {{0, 0, 0, 0, 0},      {ENOENT, 1, 0, 0, 0}, {EACCES, 0, 1, 0, 1}, {EEXIST, 0, 0, 1, 0},
               {EAGAIN, 0, 0, 0, 1}, {EPERM, 0, 0, 0, 0},  {EIO, 0, 0, 0, 0},    {ENOTDIR, 0, 0, 0, 0}};
  for (const auto& one : cases) {
    SCOPED_TRACE(one.error);
    errno = one.error;
    EXPECT_EQ(LFile::IsErrorFileNotFound(), one.not_found);
    EXPECT_EQ(LFile::IsErrorPermissionDenied(), one.denied);
    EXPECT_EQ(LFile::IsErrorAlreadyExists(), one.exists);
    EXPECT_EQ(LFile::IsErrorSharingViolation(), one.sharing);
    EXPECT_EQ(errno, one.error);
  }
}

TEST(FileErrors, AreThoseOfTheCallingThread) {
  errno = ENOENT;
  const support::Background other([] {
    errno = EEXIST;
    EXPECT_EQ(LFile::IsErrorFileNotFound(), 0);
  });
  EXPECT_TRUE(other.Ends());
  errno = ENOENT;
  EXPECT_EQ(LFile::IsErrorFileNotFound(), 1);
}

}  // namespace
