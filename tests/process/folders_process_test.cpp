// Files and folders that another process holds, empties, or was copying when it was killed.

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>

#include <gmock/gmock.h>

#include <tests/process/call_tracer.h>
#include <tests/support/child_process.h>
#include <tests/support/faults.h>
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

/// Runs something in a process of its own, up to its system call with this number.
class KilledAt {
 public:
  KilledAt(int call, const std::function<int()>& run) {
    int start[2];
    EXPECT_EQ(pipe2(start, O_CLOEXEC), 0);
    const pid_t child = fork();
    if (child == 0) {
      char go = 0;
      umask(0);
      _exit(read(start[0], &go, 1) == 1 ? run() : 1);
    }
    support::CallTracer tracer(child);
    is_traced_ = tracer.IsAttached();
    EXPECT_EQ(write(start[1], "", 1), 1);
    is_killed_ = !is_traced_ || tracer.RunToCall(call);
    status_ = tracer.EndStatus();
    if (is_killed_) {
      support::NoteFault("process", 0, "killed");
      kill(child, SIGKILL);
    }
    if (is_killed_) waitpid(child, nullptr, 0);
    for (const int end : start) close(end);
  }

  bool IsTraced() const { return is_traced_; }
  bool IsKilled() const { return is_killed_; }
  /// Of one that came to its end.
  int ExitCode() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1; }

 private:
  bool is_traced_ = false, is_killed_ = false;
  int status_ = 0;
};

class KilledCopy : public testing::Test {
 protected:
  KilledCopy() { EXPECT_EQ(chmod(source_.c_str(), 0640), 0); }

  /// \param was_there is the copy to be made over a file?
  void KillAtEveryCall(const std::function<int()>& copy, bool was_there) {
    int call = 0;
    for (bool is_killed = true; is_killed && !HasFailure();) {
      SCOPED_TRACE("call " + std::to_string(++call));
      if (was_there) folder_.Write("copy", before_);
      const KilledAt killed(call, copy);
      if (!killed.IsTraced()) GTEST_SKIP() << "no process may be traced here";
      is_killed = killed.IsKilled();
      if (!is_killed) {
        EXPECT_EQ(killed.ExitCode(), 0);
        EXPECT_TRUE(Contents(copy_) == bytes_);
      }
      ExpectTheSourceAndNoMoreThanACopy(was_there);
      EXPECT_EQ(copy(), 0) << "another one goes over what is left";
      EXPECT_TRUE(Contents(copy_) == bytes_);
      unlink(copy_.c_str());
    }
    EXPECT_GT(call, 10) << "what was traced was no copy";
  }

  void ExpectTheSourceAndNoMoreThanACopy(bool was_there) {
    EXPECT_TRUE(Contents(source_) == bytes_);
    EXPECT_EQ(support::Mode(source_), 0640u);
    EXPECT_EQ(std::filesystem::last_write_time(source_), time_);
    for (const std::string& path : support::Tree(folder_.Path())) EXPECT_THAT(path, testing::AnyOf("source", "copy"));
    const std::string copy = Contents(copy_);
    EXPECT_TRUE(bytes_.compare(0, copy.size(), copy) == 0 || (was_there && copy == before_)) << "other bytes";
    EXPECT_EQ(support::Mode(copy_) & ~most_mode_, 0u);
    for (const std::string& path : {source_, copy_}) EXPECT_EQ(LFile::TestFileShareReadBlocked(path.c_str()), 0);
  }

  const TempFolder folder_;
  unsigned int most_mode_ = 07777;
  const std::string before_ = "what was there before";
  const std::string bytes_ = std::string(4 * 32768 + 5, 'x');
  const std::string source_ = folder_.Write("source", bytes_), copy_ = folder_.File("copy");
  const std::filesystem::file_time_type time_ = std::filesystem::last_write_time(source_);
};

TEST_F(KilledCopy, WithProgressLeavesTheSourceAsItWas) {
  for (const bool was_there : {false, true}) {
    KillAtEveryCall(
        [this] {
          LProcessInterfaceVoid process;
          return Process(process, {source_.c_str(), copy_.c_str()});
        },
        was_there);
  }
}

TEST_F(KilledCopy, OfAFileLeavesTheSourceAsItWas) {
  // Before it is whole, nobody reads it who may not read the source.
  most_mode_ = 0640;
  for (const bool was_there : {false, true}) {
    KillAtEveryCall([this] { return LFile::CopyFile(source_.c_str(), copy_.c_str()) == 1 ? 0 : 1; }, was_there);
  }
}

TEST(FoldersProcess, AFolderMayBeEmptiedMeanwhile) {
  const TempFolder folder;
  const std::string tree = folder.File("tree");
  support::MakeFolder(tree);
  ChildProcess child({kHelper, "empty", tree});
  ASSERT_TRUE(child.WaitForOutput("ready", kLongMs));
  for (int round = 0; round < 5; ++round) {
    const int open_tree = open(tree.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_GE(open_tree, 0);
    for (int i = 0; i < 200; ++i) {
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
