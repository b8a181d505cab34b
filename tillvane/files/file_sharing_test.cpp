#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>

namespace {

using support::TempFolder;

constexpr int (*kTests[])(const char*) = {LFile::TestFileShareReadBlocked, LFile::TestFileShareWriteBlocked};

TEST(FileSharing, AnyLockOfAnotherHolderBlocks) {
  const TempFolder folder;
  const std::string path = folder.Write("file", "text");
  const int holder = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_GE(holder, 0);
  const struct { int lock, blocked; } cases[] = {{LOCK_UN, 0}, {LOCK_SH, 1}, {LOCK_EX, 1}, {LOCK_UN, 0}};
  for (const auto& one : cases) {
    ASSERT_EQ(flock(holder, one.lock), 0);
    for (const auto test : kTests) {
      EXPECT_EQ(test(path.c_str()), one.blocked);
      EXPECT_EQ(test(path.c_str()), one.blocked) << "the test itself leaves no lock";
    }
  }
  close(holder);
  EXPECT_EQ(support::Contents(path), "text");
}

TEST(FileSharing, WhatCannotBeOpenedIsFree) {
  const TempFolder folder;
  ASSERT_EQ(mkfifo(folder.File("pipe").c_str(), 0600), 0);
  folder.Write("file", "");
  for (const char* name : {"missing", "file/x", "pipe", "."}) {
    for (const auto test : kTests) EXPECT_EQ(test(folder.File(name).c_str()), 0) << name;
  }
  for (const auto test : kTests) EXPECT_EQ(test(""), 0);
  EXPECT_EQ(support::Tree(folder.Path()).size(), 2u) << "nothing is made";
}

}  // namespace
