#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/xattr.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

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

}  // namespace
