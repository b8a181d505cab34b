#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/process/ledger_child.h>
#include <tests/support/sqlite_file.h>
#include <tests/support/temp_folder.h>

namespace {

namespace fs = std::filesystem;

using support::IsTrue;
using support::LedgerChild;
using support::RunSql;
using testing::HasSubstr;
using testing::StartsWith;

constexpr uid_t kNobody = 65534;
constexpr int kShortMs = 200;

bool HasFileLike(const std::string& folder, const std::string& part) {
  const fs::directory_iterator entries(folder);
  return std::any_of(begin(entries), end(entries), [&](const auto& entry) {
    return entry.path().filename().string().find(part) != std::string::npos;
  });
}

int CountDescriptors(LedgerChild& child) {
  const std::string answer = child.Ask("descriptors");
  return IsTrue(answer) ? std::stoi(answer.substr(5)) : -1;
}

class LedgerFaultTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { support::KeepFoldersInMemory(); }

  /// Permission bits do not stop root, so that its tests' processes become somebody else.
  void BecomeNobody(LedgerChild& child) const {
    if (geteuid() != 0) return;
    EXPECT_EQ(chown(folder_.Path().c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(child.Ask("user " + std::to_string(kNobody)), "true");
  }

  std::string Folder() const { return folder_.File("f"); }
  std::string Path() const { return Folder() + "/ledger.sqlite"; }
  std::string OpenCommand(int timeout = kShortMs) const { return "open " + Folder() + ' ' + std::to_string(timeout); }

  support::TempFolder folder_;
};

void Chmod(const std::string& path, mode_t mode) { EXPECT_EQ(chmod(path.c_str(), mode), 0) << path; }

void WriteFile(const std::string& path, const std::string& text) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  EXPECT_EQ(write(file, text.data(), text.size()), static_cast<ssize_t>(text.size())) << path;
  close(file);
}

void Replace(const std::string& path) { fs::rename(path, path + ".kept"); }

void PutBack(const std::string& path) {
  fs::remove_all(path);
  if (fs::exists(path + ".kept")) fs::rename(path + ".kept", path);
}

/// Something in the way of a ledger, and how it is put there and taken away. `f` is the ledger's folder.
struct Obstacle {
  const char* name;
  bool after_a_purchase;
  void (*put)(const std::string& f);
  void (*take_away)(const std::string& f);
  const char* error;  ///< "%" is the ledger's folder
};

const Obstacle kObstacles[] = {
    {"the folder is a file", false, [](const std::string& f) { WriteFile(f, ""); },
     [](const std::string& f) { fs::remove(f); }, "%: the ledger's folder cannot be used (Not a directory)"},
    {"the folder is a dangling link", false, [](const std::string& f) { fs::create_symlink("/nonexistent/a", f); },
     [](const std::string& f) { fs::remove(f); }, "%: the ledger's folder cannot be used (No such file or directory)"},
    {"the folder cannot be made", false, [](const std::string& f) { Chmod(fs::path(f).parent_path(), 0500); },
     [](const std::string& f) { Chmod(fs::path(f).parent_path(), 0700); },
     "%: the ledger's folder cannot be used (Permission denied)"},
    {"the folder may not be entered", true, [](const std::string& f) { Chmod(f, 0); },
     [](const std::string& f) { Chmod(f, 0700); }, "%/ledger.lock: cannot be opened (Permission denied)"},
    {"the folder may not be written", true,
     [](const std::string& f) {
       fs::remove(f + "/ledger.sqlite-wal");
       Chmod(f, 0500);
     },
     [](const std::string& f) { Chmod(f, 0700); }, "%/ledger.sqlite: its folder may not be written"},
    {"the lock may not be written", true, [](const std::string& f) { Chmod(f + "/ledger.lock", 0400); },
     [](const std::string& f) { Chmod(f + "/ledger.lock", 0600); },
     "%/ledger.lock: cannot be opened (Permission denied)"},
    {"the lock is a folder", true,
     [](const std::string& f) {
       fs::remove(f + "/ledger.lock");
       fs::create_directory(f + "/ledger.lock");
     },
     [](const std::string& f) { fs::remove(f + "/ledger.lock"); }, "%/ledger.lock: cannot be opened (Is a directory)"},
    {"the lock is a link", true,
     [](const std::string& f) {
       Replace(f + "/ledger.lock");
       fs::create_symlink("ledger.lock.kept", f + "/ledger.lock");
     },
     [](const std::string& f) { PutBack(f + "/ledger.lock"); },
     "%/ledger.lock: cannot be opened (Too many levels of symbolic links)"},
    {"the lock is a pipe", true,
     [](const std::string& f) {
       Replace(f + "/ledger.lock");
       EXPECT_EQ(mkfifo((f + "/ledger.lock").c_str(), 0666), 0);
       Chmod(f + "/ledger.lock", 0666);
     },
     [](const std::string& f) { PutBack(f + "/ledger.lock"); }, "%/ledger.lock: is not a file"},
    {"the ledger may not be written", true, [](const std::string& f) { Chmod(f + "/ledger.sqlite", 0400); },
     [](const std::string& f) { Chmod(f + "/ledger.sqlite", 0600); }, "%/ledger.sqlite: may not be written"},
    {"the ledger may not be read", true, [](const std::string& f) { Chmod(f + "/ledger.sqlite", 0); },
     [](const std::string& f) { Chmod(f + "/ledger.sqlite", 0600); },
     "%/ledger.sqlite: unable to open database file (Permission denied)"},
    {"the ledger is a folder", true,
     [](const std::string& f) {
       Replace(f + "/ledger.sqlite");
       fs::create_directory(f + "/ledger.sqlite");
     },
     [](const std::string& f) { PutBack(f + "/ledger.sqlite"); }, "%/ledger.sqlite: is not a file"},
    {"the ledger is a pipe", true,
     [](const std::string& f) {
       Replace(f + "/ledger.sqlite");
       EXPECT_EQ(mkfifo((f + "/ledger.sqlite").c_str(), 0666), 0);
     },
     [](const std::string& f) { PutBack(f + "/ledger.sqlite"); }, "%/ledger.sqlite: is not a file"},
    {"the ledger is a link", true,
     [](const std::string& f) {
       Replace(f + "/ledger.sqlite");
       fs::create_symlink("ledger.sqlite.kept", f + "/ledger.sqlite");
     },
     [](const std::string& f) { PutBack(f + "/ledger.sqlite"); }, "%/ledger.sqlite: is not a file"},
    {"the log is a folder", true,
     [](const std::string& f) {
       fs::remove(f + "/ledger.sqlite-wal");
       fs::create_directories(f + "/ledger.sqlite-wal/a");
     },
     [](const std::string& f) { fs::remove_all(f + "/ledger.sqlite-wal"); },
     "%/ledger.sqlite: unable to open database file (Is a directory)"},
};

std::string WithFolder(const std::string& text, const std::string& folder) {
  std::string result = text;
  return result.replace(result.find('%'), 1, folder);
}

TEST_F(LedgerFaultTest, WhatIsInTheWayIsNamedAndChangesNothing) {
  for (const Obstacle& obstacle : kObstacles) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, obstacle.name);
    LedgerChild child;
    BecomeNobody(child);
    EXPECT_EQ(child.Ask(OpenCommand()), "true");
    const int before = CountDescriptors(child);
    if (obstacle.after_a_purchase) {
      EXPECT_TRUE(IsTrue(child.Ask("buy p")));
      EXPECT_EQ(child.Ask(OpenCommand()), "true");
    }
    obstacle.put(Folder());
    const std::string error = "false " + WithFolder(obstacle.error, Folder());
    for (const char* command : {"buy q", "take", "restore", "decide 1", "finish 1", "settle 1 1"}) {
      EXPECT_EQ(child.Ask(command), error) << command;
    }
    EXPECT_EQ(CountDescriptors(child), before);
    obstacle.take_away(Folder());
    EXPECT_TRUE(IsTrue(child.Ask("buy q")));
    const std::string owned = child.Ask("restore");
    EXPECT_THAT(owned, HasSubstr(":q:3"));
    EXPECT_EQ(owned.find(":p:3") != std::string::npos, obstacle.after_a_purchase) << owned;
    EXPECT_FALSE(HasFileLike(Folder(), "corrupt"));
    EXPECT_EQ(child.Ask("close"), "true");
    fs::remove_all(Folder());
  }
}

TEST_F(LedgerFaultTest, ANameThatIsNoFolderIsRefused) {
  struct Case {
    std::string folder, error;
  };
  const std::string long_name(300, 'x');
  const std::string file = folder_.Write("file", "");
  for (const Case& c :
       {Case{"/proc/nothing", "/proc/nothing: the ledger's folder cannot be used (No such file or directory)"},
        Case{file + "/a/b", file + ": the ledger's folder cannot be used (Not a directory)"},
        Case{folder_.File(long_name),
             folder_.File(long_name) + ": the ledger's folder cannot be used (File name too long)"}}) {
    LedgerChild child(c.folder);
    EXPECT_EQ(child.Ask("take"), "false " + c.error);
  }
}

TEST_F(LedgerFaultTest, AReadOnlyDiskIsNamed) {
  LedgerChild child;
  EXPECT_EQ(child.Ask(OpenCommand()), "true");
  EXPECT_TRUE(IsTrue(child.Ask("buy p")));
  EXPECT_EQ(child.Ask(OpenCommand()), "true");
  const std::string mounted = child.Ask("mount-read-only " + Folder());
  if (!IsTrue(mounted)) GTEST_SKIP() << "nothing may be mounted here: " << mounted;
  const int before = CountDescriptors(child);
  const std::string error = "false " + Folder() + "/ledger.lock: cannot be opened (Read-only file system)";
  EXPECT_EQ(child.Ask("buy q"), error);
  EXPECT_EQ(child.Ask("take"), error);
  EXPECT_EQ(CountDescriptors(child), before);
  EXPECT_EQ(child.Ask("mount-writable " + Folder()), "true");
  EXPECT_THAT(child.Ask("take"), HasSubstr(":p:1"));
  EXPECT_TRUE(IsTrue(child.Ask("buy q")));
}

/// A ledger's whole life while the disk has only so much left: each call is done, or has an error and left no trace.
void ShopOnFullDisk(LedgerChild& child, const std::string& disk, int left) {
  const std::string folder = disk + '/' + std::to_string(left);
  EXPECT_EQ(child.Ask("open " + folder), "true");
  EXPECT_EQ(child.Ask("fill " + disk + "/ballast " + std::to_string(left)), "true");
  const int before = CountDescriptors(child);
  int bought = 0;
  std::string answer;
  // In the end the log has used up what there was.
  while (bought < 1000 && IsTrue(answer = child.Ask("buy p" + std::to_string(bought)))) ++bought;
  EXPECT_THAT(answer, StartsWith("false " + folder));
  EXPECT_THAT(answer, testing::AnyOf(HasSubstr("database or disk is full"), HasSubstr("No space left on device")));
  // A purchase may have begun: then its instance, one lock, lives on.
  EXPECT_LE(CountDescriptors(child), before + 1);
  EXPECT_EQ(child.Ask("remove " + disk + "/ballast"), "true");
  const std::string owned = child.Ask("restore");
  EXPECT_TRUE(IsTrue(owned)) << owned;
  EXPECT_EQ(std::count(owned.begin(), owned.end(), ' '), bought) << owned;
  EXPECT_TRUE(IsTrue(child.Ask("buy last")));
  EXPECT_EQ(child.Ask("close"), "true");
}

TEST_F(LedgerFaultTest, AFullDiskLosesNothing) {
  LedgerChild child;
  const std::string mounted = child.Ask("mount-small " + folder_.Path() + " 2m");
  if (!IsTrue(mounted)) GTEST_SKIP() << "nothing may be mounted here: " << mounted;
  for (int left = 0; left <= 160 * 1024; left += 8 * 1024) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, std::to_string(left) + " bytes are left");
    ShopOnFullDisk(child, folder_.Path(), left);
  }
}

TEST_F(LedgerFaultTest, AFileThatMayNotGrowLosesNothing) {
  LedgerChild child;
  int failed = 0;
  for (int limit = 0; limit <= 64 * 1024; limit += 2 * 1024) {
    const testing::ScopedTrace trace(__FILE__, __LINE__, "files of at most " + std::to_string(limit) + " bytes");
    const std::string folder = folder_.File(std::to_string(limit));
    EXPECT_EQ(child.Ask("open " + folder), "true");
    EXPECT_EQ(child.Ask("limit-file-size " + std::to_string(limit)), "true");
    int bought = 0;
    std::string answer = "true";
    for (; bought < 6 && IsTrue(answer = child.Ask("buy p" + std::to_string(bought))); ++bought) {
    }
    if (bought < 6) {
      ++failed;
      EXPECT_THAT(answer, StartsWith("false " + folder + "/ledger.sqlite: disk I/O error"));
    }
    EXPECT_EQ(child.Ask("limit-file-size"), "true");
    const std::string owned = child.Ask("restore");
    EXPECT_EQ(std::count(owned.begin(), owned.end(), ' '), bought) << owned;
    EXPECT_TRUE(IsTrue(child.Ask("buy last")));
    EXPECT_EQ(child.Ask("close"), "true");
    EXPECT_EQ(RunSql(folder + "/ledger.sqlite", "PRAGMA integrity_check"), "ok");
    EXPECT_FALSE(HasFileLike(folder, "corrupt"));
  }
  EXPECT_GT(failed, 10);
}

/// Does a refusal name something in the ledger's folder, the folder itself, or one above that was to be made to last?
bool NamesWhatIsOnTheWayTo(const std::string& folder, const std::string& refusal) {
  std::string named = refusal.substr(0, refusal.find(": "));
  named.erase(0, named.find('/'));
  return !named.empty() && ((named + '/').rfind(folder + '/', 0) == 0 || (folder + '/').rfind(named + '/', 0) == 0);
}

TEST_F(LedgerFaultTest, OutOfDescriptorsLosesNothing) {
  for (const bool with_ledger : {false, true}) {
    LedgerChild child;
    EXPECT_EQ(child.Ask(OpenCommand()), "true");
    const int before = CountDescriptors(child);
    const int bought_before = with_ledger ? 1 : 0;
    int bought = bought_before;
    EXPECT_TRUE(!with_ledger || IsTrue(child.Ask("buy p0")));
    for (int more = 0; more < 10; ++more) {
      const testing::ScopedTrace trace(__FILE__, __LINE__, std::to_string(more) + " descriptors are left");
      EXPECT_EQ(child.Ask(OpenCommand()), "true");
      EXPECT_EQ(child.Ask("limit-descriptors " + std::to_string(before + more)), "true");
      const std::string answer = child.Ask("buy p" + std::to_string(bought));
      EXPECT_EQ(child.Ask("limit-descriptors 1000"), "true");
      if (IsTrue(answer)) {
        ++bought;
      } else {
        EXPECT_TRUE(NamesWhatIsOnTheWayTo(Folder(), answer)) << answer;
        EXPECT_THAT(answer, HasSubstr(" (Too many open files)"));
        EXPECT_EQ(CountDescriptors(child), before) << answer;
      }
      const std::string owned = child.Ask("restore");
      EXPECT_EQ(std::count(owned.begin(), owned.end(), ' '), bought) << owned;
    }
    EXPECT_GT(bought, bought_before) << "there were never enough";
    EXPECT_LT(bought, bought_before + 10) << "there were always enough";
    EXPECT_EQ(child.Ask("close"), "true");
    EXPECT_FALSE(HasFileLike(Folder(), "corrupt"));
    fs::remove_all(Folder());
  }
}

/// Asks for a purchase that another process is in the way of.
void ExpectLocked(LedgerChild& child, const std::string& error) {
  const int before = CountDescriptors(child);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(child.Ask("buy q"), "false " + error);
  const auto waited = std::chrono::steady_clock::now() - start;
  EXPECT_GE(waited, std::chrono::milliseconds(kShortMs / 2)) << "it did not wait";
  EXPECT_LT(waited, std::chrono::seconds(20)) << "it waited for ever";
  EXPECT_EQ(CountDescriptors(child), before);
}

TEST_F(LedgerFaultTest, ALedgerThatAnotherProcessHasLockedIsWaitedForAndLeft) {
  LedgerChild child;
  EXPECT_EQ(child.Ask(OpenCommand()), "true");
  EXPECT_TRUE(IsTrue(child.Ask("buy p")));
  EXPECT_EQ(child.Ask(OpenCommand()), "true");
  {
    support::SqliteFile other(Path());
    EXPECT_EQ(other.Run("BEGIN EXCLUSIVE"), "");
    ExpectLocked(child, Path() + ": database is locked");
    EXPECT_EQ(other.Run("COMMIT"), "");
    EXPECT_TRUE(IsTrue(child.Ask("buy q")));
    EXPECT_EQ(other.Run("BEGIN EXCLUSIVE"), "");
    // This time the ledger is open, and what this process holds outlives the error.
    EXPECT_EQ(child.Ask("buy r"), "false " + Path() + ": database is locked");
  }
  const std::string owned = child.Ask("restore");
  EXPECT_THAT(owned, HasSubstr(":p:3"));
  EXPECT_THAT(owned, HasSubstr(":q:3"));
  EXPECT_EQ(owned.find(":r:3"), std::string::npos);
  EXPECT_TRUE(IsTrue(child.Ask("buy r")));
}

TEST_F(LedgerFaultTest, AnEmptyFileThatAnotherProcessHasLockedIsWaitedForAndLeft) {
  fs::create_directory(Folder());
  WriteFile(Path(), "");
  LedgerChild child;
  EXPECT_EQ(child.Ask(OpenCommand()), "true");
  {
    support::SqliteFile other(Path());
    EXPECT_EQ(other.Run("BEGIN EXCLUSIVE"), "");
    ExpectLocked(child, Path() + ": database is locked");
  }
  EXPECT_TRUE(IsTrue(child.Ask("buy q")));
}

TEST_F(LedgerFaultTest, AReaderIsWaitedForWhileTheLedgerHasNoLogYet) {
  LedgerChild child;
  EXPECT_EQ(child.Ask(OpenCommand(20000)), "true");
  EXPECT_TRUE(IsTrue(child.Ask("buy p")));
  EXPECT_EQ(child.Ask(OpenCommand(20000)), "true");
  // As a process leaves it that is killed while it makes the ledger.
  EXPECT_EQ(RunSql(Path(), "PRAGMA journal_mode = DELETE"), "delete");
  {
    support::SqliteFile other(Path());
    EXPECT_EQ(other.Run("BEGIN; SELECT count(*) FROM transactions"), "1");
    child.Tell("buy q");
    usleep(300000);
    EXPECT_EQ(other.Run("COMMIT"), "");
    EXPECT_TRUE(IsTrue(child.Answer()));
  }
  EXPECT_EQ(RunSql(Path(), "PRAGMA journal_mode"), "wal");
}

TEST_F(LedgerFaultTest, ALedgerThatAnotherProcessSetsAsideIsWaitedFor) {
  fs::create_directory(Folder());
  const std::string path = Folder() + "/ledger.lock";
  const int lock = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  struct flock alone {};
  alone.l_type = F_WRLCK;
  alone.l_len = 1;
  EXPECT_EQ(fcntl(lock, F_OFD_SETLK, &alone), 0);
  LedgerChild child;
  EXPECT_EQ(child.Ask(OpenCommand()), "true");
  ExpectLocked(child, path + ": cannot be locked (Resource temporarily unavailable)");
  close(lock);
  EXPECT_TRUE(IsTrue(child.Ask("buy q")));
}

}  // namespace
