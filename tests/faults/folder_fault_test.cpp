// System calls that fail under the operations on folders, and a clock of the test's own. The definitions here take the
// place of the C library's for everything that is linked into this program.

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/files.h>
#include <tests/support/next_definition.h>
#include <tests/support/temp_folder.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LFileFolderIterator.h>

namespace {

// What a call does instead, while it is set.
std::function<time_t()> on_time;
support::Replacement<int()> on_access{"access"};
support::Replacement<int(struct stat* status)> on_fstatat{"fstatat"};
support::Replacement<DIR*()> on_fdopendir{"fdopendir"};
support::Replacement<dirent*(dirent* entry)> on_readdir{"readdir"};

using support::Next;

}  // namespace

extern "C" {

time_t time(time_t* out) noexcept {
  const time_t now = on_time ? on_time() : Next(&time, "time")(nullptr);
  if (out != nullptr) *out = now;
  return now;
}

int access(const char* path, int kind) noexcept {
  return on_access ? on_access() : Next(&access, "access")(path, kind);
}

int fstatat(int folder, const char* name, struct stat* status, int flags) noexcept {
  const int result = Next(&fstatat, "fstatat")(folder, name, status, flags);
  return result == 0 && on_fstatat ? on_fstatat(status) : result;
}

DIR* fdopendir(int folder) { return on_fdopendir ? on_fdopendir() : Next(&fdopendir, "fdopendir")(folder); }

dirent* readdir(DIR* stream) {
  dirent* const entry = Next(&readdir, "readdir")(stream);
  return entry != nullptr && on_readdir ? on_readdir(entry) : entry;
}

}  // extern "C"

namespace {

using support::IsThere;
using support::MakeFolder;
using support::TempFolder;

class FolderFault : public testing::Test {
 protected:
  ~FolderFault() override {
    on_time = {};
    on_access = {};
    on_fstatat = {};
    on_fdopendir = {};
    on_readdir = {};
  }

  /// Is a file of this time deleted, when it is now so late?
  bool IsDeleted(time_t now, time_t changed, int days) {
    const std::string path = folder_.Write("file", "");
    on_time = [=] { return now; };
    on_fstatat = [=](struct stat* status) {
      status->st_ctim.tv_sec = changed;
      return 0;
    };
    LFile::DeleteOldFiles(folder_.Path().c_str(), "*", days);
    on_time = {};
    on_fstatat = {};
    return !IsThere(path);
  }

  const TempFolder folder_;
};

TEST_F(FolderFault, FilesAreOldFromTheSecondOnThatIsDaysAgo) {
  constexpr time_t now = 1700000000, day = 86400;
  const struct {
    time_t changed;
    int days;
    bool is_deleted;
  } cases[] = {{now, 1, false},
               {now - day, 1, false},
               {now - day - 1, 1, true},
               {now - 30 * day, 30, false},
               {now - 30 * day - 1, 30, true},
               {0, 19675, true},
               {0, 19676, false},
               {-1, 19675, true},
               {now - 3 * day, 0, false},
               {now - 3 * day, -1, false}};
  for (const auto& one : cases) {
    EXPECT_EQ(IsDeleted(now, one.changed, one.days), one.is_deleted) << one.changed << ' ' << one.days;
  }
}

TEST_F(FolderFault, OldFoldersStay) {
  MakeFolder(folder_.File("empty"));
  MakeFolder(folder_.File("full"));
  folder_.Write("full/file", "text");
  EXPECT_TRUE(IsDeleted(1700000000, 0, 1));
  EXPECT_TRUE(IsThere(folder_.File("empty")));
  EXPECT_TRUE(IsThere(folder_.File("full/file")));
}

TEST_F(FolderFault, OldFilesThatNoPathReachesStay) {
  const std::size_t most = 259 - folder_.Path().size() - 1;
  ASSERT_LT(most, 255u);
  const std::string reached = folder_.Write(std::string(most, 'n'), "");
  const std::string too_far = folder_.Write(std::string(most + 1, 'n'), "");
  EXPECT_TRUE(IsDeleted(1700000000, 0, 1));
  EXPECT_FALSE(IsThere(reached));
  EXPECT_TRUE(IsThere(too_far));
}

TEST_F(FolderFault, DaysAndTimesWrapAt32Bits) {
  constexpr time_t now = 1700000000;
  // 49711 days are 2^32 seconds and 63104 more.
  EXPECT_TRUE(IsDeleted(now, now - 63105, 49711));
  EXPECT_FALSE(IsDeleted(now, now - 63104, 49711));
  EXPECT_TRUE(IsDeleted(now, now - 63105, 49711));
  // Behind the year 2038.
  constexpr time_t late = time_t{1} << 31;
  EXPECT_TRUE(IsDeleted(late + 1000000, late + 1000000 - 86401, 1));
  EXPECT_FALSE(IsDeleted(late + 1000000, late + 1000000 - 86400, 1));
}

TEST_F(FolderFault, WhatCannotBeAskedIsAsOldAsCanBe) {
  const std::string path = folder_.Write("file", "");
  on_fstatat = [](struct stat*) {
    errno = EIO;
    return -1;
  };
  LFile::DeleteOldFiles(folder_.Path().c_str(), "*", 1);
  EXPECT_FALSE(IsThere(path));
}

TEST_F(FolderFault, AListingWithoutKindsIsAsGoodAsOneWithThem) {
  on_readdir = [](dirent* entry) {
    entry->d_type = DT_UNKNOWN;
    return entry;
  };
  const auto make = [&] {
    MakeFolder(folder_.File("tree/a/b"));
    folder_.Write("tree/a/b/file", "text");
    folder_.Write("tree/file", "text");
  };
  make();
  LFile::CopyFolderFiles(folder_.File("tree").c_str(), folder_.File("copy").c_str());
  LFile::SetFolderSecurityAllAccess(folder_.File("copy").c_str());
  EXPECT_EQ(support::Contents(folder_.File("copy/a/b/file")), "text");
  EXPECT_EQ(support::Mode(folder_.File("copy/a/b/file")), 0777u);
  EXPECT_EQ(LFile::DeleteFolderAndFiles(folder_.File("copy").c_str()), 0);
  EXPECT_FALSE(IsThere(folder_.File("copy/file")));
  EXPECT_TRUE(IsThere(folder_.File("copy/a/b/file")));
  EXPECT_EQ(LFile::DeleteFolderTree(folder_.File("copy").c_str()), 1);
  EXPECT_EQ(LFile::DeleteFolderTreeAlways(folder_.File("tree").c_str()), 1);
}

TEST_F(FolderFault, WhereNothingIsThereTheRootIsTheLastParentThatIsTried) {
  on_access = [] {
    errno = EIO;
    return -1;
  };
  EXPECT_EQ(LFile::CreateFolderTree(folder_.File("a/b").c_str()), 0);
  EXPECT_EQ(errno, EEXIST);
  EXPECT_FALSE(IsThere(folder_.File("a")));
}

// As some file systems have them, which keep names in another encoding.
TEST_F(FolderFault, ANameThatIsTooLongForAnEntryIsNotListed) {
  folder_.Write("long", "");
  folder_.Write("short", "");
  alignas(dirent) static char longest[sizeof(dirent) + 64];
  const std::size_t most = sizeof(dirent) - offsetof(dirent, d_name) - 1;
  for (const std::size_t length : {most, most + 1, most + 40}) {
    on_readdir = [length](dirent* entry) {
      if (std::strcmp(entry->d_name, "long") != 0) return entry;
      auto* const made_up = reinterpret_cast<dirent*>(longest);
      std::memset(longest + offsetof(dirent, d_name), 'n', length);
      longest[offsetof(dirent, d_name) + length] = '\0';
      return made_up;
    };
    std::set<std::string> names;
    LFile::FolderIteratorAllFiles files;
    for (int found = files.Open(folder_.Path().c_str()); found != 0; found = files.Next()) {
      names.insert(files.entry.d_name);
    }
    std::set<std::string> expected = {".", "..", "short"};
    if (length == most) expected.insert(std::string(most, 'n'));
    EXPECT_EQ(names, expected) << length;
  }
}

TEST_F(FolderFault, WithoutAStreamAFolderIsEmptyAndNothingStaysOpen) {
  MakeFolder(folder_.File("tree"));
  folder_.Write("tree/file", "");
  on_fdopendir = [] {
    errno = ENOMEM;
    return nullptr;
  };
  EXPECT_EQ(LFile::DeleteFolderTree(folder_.File("tree").c_str()), 0);
  EXPECT_EQ(errno, ENOTEMPTY);
  EXPECT_EQ(LFile::CopyFile(folder_.File("tree").c_str(), folder_.File("copy").c_str()), 0);
  EXPECT_EQ(errno, ENOMEM);
  LFile::CopyFolderFiles(folder_.File("tree").c_str(), folder_.File("copy").c_str());
  LFile::SetFolderSecurityAllAccess(folder_.Path().c_str());
  on_fdopendir = {};
  EXPECT_EQ(support::Tree(folder_.File("copy")), std::set<std::string>{});
}

}  // namespace
