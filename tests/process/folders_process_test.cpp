// Files and folders that another process holds, empties, or was copying when it was killed.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LProcessInterface.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LFileFolderIterator.h>
#include <tillvane/files/LLockFile.h>
#include <tillvane/files/LProcessCopyFile.h>

namespace {

using support::ChildProcess;
using support::Contents;
using support::IsThere;
using support::kLongMs;
using support::kSoonMs;
using support::Stopwatch;
using support::TempFolder;

const std::string kHelper = TILLVANE_TEST_HELPER;

TEST(FoldersProcess, ALockFileIsHeldAgainstAnotherProcess) {
  const TempFolder folder;
  const std::string path = folder.File("app.db");
  ChildProcess child({kHelper, "lock", path});
  ASSERT_TRUE(child.WaitForOutput("\n", kLongMs));
  EXPECT_EQ(child.Output(), "locked\n");
  LLockFile lock;
  EXPECT_EQ(lock.Lock(path.c_str()), 0);
  EXPECT_EQ(LFile::TestFileShareReadBlocked(folder.File("app.lck").c_str()), 1);
  EXPECT_EQ(LFile::TestFileShareWriteBlocked(folder.File("app.lck").c_str()), 1);
  ChildProcess second({kHelper, "lock", path});
  ASSERT_TRUE(second.WaitForOutput("\n", kLongMs));
  EXPECT_EQ(second.Output(), "not locked\n");
  child.Signal(SIGUSR1);
  ASSERT_TRUE(child.WaitForEnd(kLongMs));
  EXPECT_EQ(lock.Lock(path.c_str()), 1);
  EXPECT_GE(lock.filedes, 0);
}

TEST(FoldersProcess, ALockEndsWithItsProcess) {
  const TempFolder folder;
  const std::string path = folder.File("app.db");
  ChildProcess child({kHelper, "lock", path});
  ASSERT_TRUE(child.WaitForOutput("locked\n", kLongMs));
  child.Signal(SIGKILL);
  ASSERT_TRUE(child.WaitForEnd(kLongMs));
  LLockFile lock;
  EXPECT_EQ(lock.Lock(path.c_str()), 1);
  EXPECT_GE(lock.filedes, 0);
}

TEST(FoldersProcess, ACopyGoesOnWithoutTheLocksThatItDoesNotGet) {
  const TempFolder folder;
  const std::string source = folder.File("source.lck"), copy = folder.File("copy.lck");
  ChildProcess holders[] = {ChildProcess({kHelper, "lock", folder.File("source.db")}),
                            ChildProcess({kHelper, "lock", folder.File("copy.db")})};
  for (ChildProcess& holder : holders) ASSERT_TRUE(holder.WaitForOutput("locked\n", kLongMs));
  support::MakeFile(source, "text");
  LProcessInterfaceVoid process;
  const Stopwatch watch;
  EXPECT_EQ(Process(process, {source.c_str(), copy.c_str()}), 0);
  EXPECT_GE(watch.Ms(), 2 * 992);
  EXPECT_LT(watch.Ms(), kSoonMs);
  EXPECT_EQ(Contents(copy), "text");
}

TEST(FoldersProcess, AKilledCopyLeavesTheSourceAsItWas) {
  const TempFolder folder;
  const std::string bytes(10 * 32768, 'x'), source = folder.Write("source", bytes), copy = folder.File("copy");
  ChildProcess child({kHelper, "copy", source, copy});
  ASSERT_TRUE(child.WaitForOutput("third", kLongMs));
  EXPECT_EQ(LFile::TestFileShareReadBlocked(copy.c_str()), 1);
  child.Signal(SIGKILL);
  ASSERT_TRUE(child.WaitForEnd(kLongMs));
  EXPECT_TRUE(Contents(source) == bytes);
  EXPECT_EQ(LFile::TestFileShareReadBlocked(copy.c_str()), 0);
  LProcessInterfaceVoid process;
  EXPECT_EQ(Process(process, {source.c_str(), copy.c_str()}), 0) << "another one goes over what is left";
  EXPECT_TRUE(Contents(copy) == bytes);
}

TEST(FoldersProcess, AFolderMayBeEmptiedMeanwhile) {
  const TempFolder folder;
  const std::string tree = folder.File("tree");
  support::MakeFolder(tree);
  ChildProcess child({kHelper, "empty", tree});
  ASSERT_TRUE(child.WaitForOutput("ready", kLongMs));
  for (int round = 0; round < 20; ++round) {
    const int open_tree = open(tree.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(open_tree, 0);
    for (int i = 0; i < 500; ++i) {
      const int file = openat(open_tree, std::to_string(i).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
      if (file >= 0) close(file);
    }
    close(open_tree);
    LFile::FolderIterator files;
    for (int found = files.Open(tree.c_str(), "*"); found != 0; found = files.Next()) {
      EXPECT_STRNE(files.entry.d_name, "");
    }
    LFile::SetFolderSecurityAllAccess(tree.c_str());
    LFile::CopyFolderFiles(tree.c_str(), folder.File("copy").c_str());
    LFile::DeleteOldFiles(tree.c_str(), "*", 1);
    LFile::DeleteFolderTree(tree.c_str());
    support::MakeFolder(tree);
  }
}

TEST(FoldersProcess, AFullDiskKeepsNothing) {
  const TempFolder folder;
  support::MakeFolder(folder.File("disk"));
  const std::string bytes(2 << 20, 'x'), source = folder.Write("source", bytes);
  const support::ProcessResult child = support::RunProcess({kHelper, "full", source, folder.File("disk")}, kLongMs);
  ASSERT_TRUE(child.ended);
  if (child.exit_code == 77) GTEST_SKIP() << "no file system may be mounted here";
  EXPECT_EQ(child.exit_code, 0) << child.errors;
  EXPECT_EQ(child.output, "2 after 33 reports, No space left on device\n0, No space left on device\n0 left\n");
  EXPECT_TRUE(Contents(source) == bytes);
}

}  // namespace
