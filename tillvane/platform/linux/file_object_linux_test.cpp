#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>
#include <tillvane/platform/file_object.h>
#include <tillvane/text/LTextFile.h>

namespace {

using support::TempFolder;

constexpr char kName[] = "user.com.apple.TextEncoding";

/// An attribute's value, or "none".
std::string Attribute(const std::string& path, const char* name) {
  char value[100];
  const ssize_t size = getxattr(path.c_str(), name, value, sizeof value);
  return size >= 0 ? std::string(value, static_cast<std::size_t>(size)) : "none";
}

/// In the temporary folder, whose file system may have no attributes.
class FileObjectLinux : public testing::Test {
 protected:
  void SetUp() override {
    if (setxattr(path_.c_str(), "user.test", "", 0, 0) != 0) GTEST_SKIP() << "no attributes: " << strerror(errno);
  }

  const TempFolder folder_;
  const std::string path_ = folder_.Write("file", "");
  const char* const file_ = path_.c_str();
};

TEST_F(FileObjectLinux, AnAttributeIsAmongTheUsersAndReplacesOne) {
  EXPECT_EQ(platform::SetExtendedAttribute(file_, "a.name", "value\0!", 7), 0);
  EXPECT_EQ(Attribute(path_, "user.a.name"), std::string("value\0!", 7));
  EXPECT_EQ(platform::SetExtendedAttribute(file_, "a.name", "x", 1), 0);
  EXPECT_EQ(Attribute(path_, "user.a.name"), "x");
}

TEST_F(FileObjectLinux, ANameThatIsTooLongIsRefused) {
  errno = 0;
  EXPECT_EQ(platform::SetExtendedAttribute(file_, std::string(251, 'n').c_str(), "x", 1), -1);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(platform::SetExtendedAttribute(file_, std::string(250, 'n').c_str(), "x", 1), 0);
}

TEST_F(FileObjectLinux, AFileIsMarkedAsUTF8) {
  EXPECT_EQ(LFile::SetFileAttributeTextEncodingUTF8(file_), 0);
  EXPECT_EQ(Attribute(path_, kName), "utf-8;134217984");
  EXPECT_EQ(LFile::SetFileAttributeTextEncodingUTF8(file_), 0) << "again";
}

TEST_F(FileObjectLinux, SavedTextIsMarked) {
  for (const auto& save : {static_cast<int (*)(const char*, const char*)>(LSaveText),
                           static_cast<int (*)(const char*, const char*)>(LSaveAppendText)}) {
    folder_.Write("file", "");
    removexattr(file_, kName);
    EXPECT_EQ(save(file_, "text"), 0);
    EXPECT_EQ(Attribute(path_, kName), "utf-8;134217984");
  }
}

TEST_F(FileObjectLinux, SavedUnicodeIsNotMarked) {
  EXPECT_EQ(LSaveTextAsUnicodeBOM(file_, LStringLong()), 0);
  EXPECT_EQ(Attribute(path_, kName), "none");
}

TEST_F(FileObjectLinux, WhatDoesNotOpenIsMarkedAllTheSame) {
  EXPECT_EQ(LSaveText(folder_.Path().c_str(), "text"), 0) << "a folder";
  EXPECT_EQ(Attribute(folder_.Path(), kName), "utf-8;134217984");
}

// The process's own name is a file, of a file system that has no attributes.
TEST(FileObjectLinuxWithoutAttributes, TheTextIsSavedAndTheAnswerIsMinusOne) {
  char before[16], after[16];
  prctl(PR_GET_NAME, before);
  errno = 0;
  EXPECT_EQ(LSaveText("/proc/self/comm", "saved"), -1);
  EXPECT_EQ(errno, EOPNOTSUPP);
  prctl(PR_GET_NAME, after);
  prctl(PR_SET_NAME, before);
  EXPECT_STREQ(after, "saved");
}

// --- Files with their locks ---

using platform::FileLock;
using platform::OpenFor;

TEST(LockedFileLinux, ANewOneHasItsContentItsModeAndItsLock) {
  const TempFolder folder;
  const std::string path = folder.File("file");
  const int file = platform::CreateLocked(path.c_str(), "content", 7, 0640);
  ASSERT_GE(file, 0);
  EXPECT_EQ(fcntl(file, F_GETFD), FD_CLOEXEC);
  EXPECT_EQ(fcntl(file, F_GETFL) & O_ACCMODE, O_RDWR);
  EXPECT_EQ(support::Contents(path), "content");
  EXPECT_EQ(support::Mode(path), 0640U);
  EXPECT_EQ(platform::OpenLocked(path.c_str(), OpenFor::kReading, FileLock::kShared, 0), -1);
  EXPECT_EQ(errno, EAGAIN);
  close(file);
}

TEST(LockedFileLinux, ANewOneReplacesNothingAndFollowsNoLink) {
  const TempFolder folder;
  ASSERT_EQ(symlink(folder.File("target").c_str(), folder.File("link").c_str()), 0);
  folder.Write("file", "kept");
  for (const char* name : {"file", "link"}) {
    EXPECT_EQ(platform::CreateLocked(folder.File(name).c_str(), "content", 7, 0600), -1);
    EXPECT_EQ(errno, EEXIST);
  }
  EXPECT_EQ(support::Contents(folder.File("file")), "kept");
  EXPECT_FALSE(support::IsThere(folder.File("target")));
  for (const std::string& path : {folder.File("missing/file"), std::string()}) {
    EXPECT_EQ(platform::CreateLocked(path.c_str(), "", 0, 0600), -1);
    EXPECT_EQ(errno, ENOENT);
  }
}

TEST(LockedFileLinux, OnesOwnIsAFileAndNoLinkAndNobodyElses) {
  const TempFolder folder;
  const std::string file = folder.Write("file", "content");
  ASSERT_EQ(symlink(file.c_str(), folder.File("link").c_str()), 0);
  ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
  ASSERT_EQ(link(folder.Write("two names", "").c_str(), folder.File("second name").c_str()), 0);
  const auto open_own = [&](const std::string& path) {
    return platform::OpenLocked(path.c_str(), OpenFor::kReadingOwn, FileLock::kShared, 0);
  };
  struct Case {
    const char* name;
    int error;
  };
  for (const Case& one : {Case{"link", ELOOP}, Case{"pipe", EPERM}, Case{".", EPERM}, Case{"missing", ENOENT},
                          Case{"second name", EPERM}}) {
    errno = 0;
    EXPECT_EQ(open_own(folder.File(one.name)), -1) << one.name;
    EXPECT_EQ(errno, one.error) << one.name;
  }
  const int own = open_own(file);
  EXPECT_GE(own, 0);
  close(own);
  if (geteuid() != 0) return;
  ASSERT_EQ(chown(file.c_str(), 65534, 65534), 0);
  EXPECT_EQ(open_own(file), -1);
  EXPECT_EQ(errno, EPERM);
}

TEST(LockedFileLinux, OnlyTheHeldFileItselfIsDeleted) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "held");
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(rename(path.c_str(), folder.File("elsewhere").c_str()), 0);
  platform::DeleteHeld(path.c_str(), file);
  ASSERT_EQ(symlink("elsewhere", path.c_str()), 0);
  platform::DeleteHeld(path.c_str(), file);
  EXPECT_TRUE(support::IsThere(path)) << "a link to it";
  EXPECT_TRUE(support::IsThere(folder.File("elsewhere")));
  platform::DeleteHeld(folder.File("elsewhere").c_str(), file);
  EXPECT_FALSE(support::IsThere(folder.File("elsewhere")));
  ASSERT_EQ(unlink(path.c_str()), 0);
  folder.Write("file", "another");
  platform::DeleteHeld(path.c_str(), file);
  EXPECT_TRUE(support::IsThere(path)) << "another file";
  close(file);
}

}  // namespace
