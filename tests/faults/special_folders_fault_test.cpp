// A database of users that answers late, at length or not at all, and folders that cannot be made or followed. The
// definitions here take the place of the C library's for everything that is linked into this program.

#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/files.h>
#include <tests/support/guarded_text.h>
#include <tests/support/made_up_home.h>
#include <tests/support/next_definition.h>
#include <tillvane/files/LFile.h>

namespace {

/// What the database of users answers while it is set.
struct Account {
  std::vector<int> errors;                   ///< first of all
  std::size_t room = 0;                      ///< bytes that the entry takes
  std::optional<std::string> home;           ///< nothing: there is no entry
  bool has_field = true;                     ///< false: an entry without a home
  std::vector<std::size_t> rooms_offered{};  ///< with each question
};
Account* account = nullptr;

bool refuses_folders = false;
bool refuses_resolving = false;

using support::Next;

}  // namespace

extern "C" {

int getpwuid_r(uid_t user, passwd* entry, char* buffer, size_t room, passwd** found) {
  if (account == nullptr) return Next(&getpwuid_r, "getpwuid_r")(user, entry, buffer, room, found);
  *found = nullptr;
  account->rooms_offered.push_back(room);
  if (!account->errors.empty()) {
    const int error = account->errors.front();
    account->errors.erase(account->errors.begin());
    if (error != 0) support::NoteFault("getpwuid_r", error);
    return error;
  }
  if (room < account->room) return ERANGE;
  if (!account->home) return 0;
  entry->pw_dir = account->has_field ? account->home->data() : nullptr;
  *found = entry;
  return 0;
}

int mkdir(const char* path, mode_t mode) noexcept {
  if (!refuses_folders) return Next(&mkdir, "mkdir")(path, mode);
  return support::FailNoted(EACCES);
}

char* realpath(const char* path, char* resolved) noexcept {
  if (!refuses_resolving) return Next(&realpath, "realpath")(path, resolved);
  support::FailNoted(EACCES);
  return nullptr;
}

}  // extern "C"

namespace {

using support::PathOf;

class SpecialFoldersFault : public testing::Test {
 protected:
  ~SpecialFoldersFault() override {
    account = nullptr;
    refuses_folders = refuses_resolving = false;
  }

  std::string AccountHome(const Account& answer) {
    account_ = answer;
    account = &account_;
    return PathOf(LFile::GetUserFolderNonSandboxed);
  }

  const support::MadeUpHome home_;
  Account account_;
};

TEST_F(SpecialFoldersFault, TheAccountsHome) {
  const struct {
    Account answer;
    std::string home;
  } cases[] = {
      {{{}, 0, "/home/ada"}, "/home/ada"},
      // As it stands there.
      {{{}, 0, "/home/ada//"}, "/home/ada//"},
      {{{}, 0, "ada"}, "ada"},
      {{{}, 0, ""}, ""},
      {{{}, 0, "/" + std::string(1000, 'x')}, "/" + std::string(258, 'x')},
      // Nobody, and no answer.
      {{{}, 0, {}}, ""},
      {{{}, 0, "/home/ada", false}, ""},
      {{{ENOENT}, 0, "/home/ada"}, ""},
      {{{EIO}, 0, "/home/ada"}, ""},
      {{{EMFILE}, 0, "/home/ada"}, ""},
      // An answer that is late, or long.
      {{{EINTR, EINTR, EINTR}, 0, "/home/ada"}, "/home/ada"},
      {{{}, 100000, "/home/ada"}, "/home/ada"},
      {{{}, std::size_t{1} << 30, "/home/ada"}, ""},
  };
  for (const auto& c : cases) EXPECT_EQ(AccountHome(c.answer), c.home) << c.answer.room << c.home;
}

TEST_F(SpecialFoldersFault, RoomForAnEntryGrowsToAnEnd) {
  AccountHome({{}, std::size_t{1} << 30, "/home/ada"});
  EXPECT_LE(account_.rooms_offered.size(), 12U);
  EXPECT_LE(account_.rooms_offered.back(), std::size_t{1} << 20);
}

TEST_F(SpecialFoldersFault, WithoutAnAccountFoldersAreRelative) {
  AccountHome({{}, 0, {}});
  EXPECT_EQ(PathOf(LFile::GetUserDownloadFolderNonSandboxed), "Downloads");
  EXPECT_EQ(PathOf(LFile::GetUserMusicFolderNonSandboxed), "Music");
}

TEST_F(SpecialFoldersFault, FoldersThatCannotBeMadeAreToldAllTheSame) {
  refuses_folders = true;
  EXPECT_EQ(PathOf(LFile::GetUserMusicFolder), home_.Path("Music"));
  EXPECT_EQ(PathOf(LFile::GetUserDataFolder), home_.Path(".local/share"));
  EXPECT_EQ(PathOf([](char* dest) { LFile::GetUserDataFolderApp(dest); }), home_.Path(".local/share/Tillvane"));
  EXPECT_EQ(PathOf(LFile::GetSharedDataFolderApp), home_.Path(".local/share/Tillvane/Shared"));
  EXPECT_EQ(PathOf([](char* dest) { LFile::GetSharedDataFolderAppSubFolder("x", dest); }),
            home_.Path(".local/share/Tillvane/Shared/x"));
  EXPECT_EQ(support::Tree(home_.Path()), std::set<std::string>{"Downloads"});
}

TEST_F(SpecialFoldersFault, WhatCannotBeResolvedIsNotOutside) {
  support::MakeFile(home_.Real("Downloads/file"));
  refuses_resolving = true;
  for (const char* path : {"Downloads/file", "Downloads/new.txt"}) {
    support::GuardedText dest(260);
    EXPECT_FALSE(LFile::MakeNonSandboxedFilePath(dest.Get(), home_.Path(path).c_str())) << path;
    EXPECT_EQ(dest.Text(), "") << path;
  }
}

}  // namespace
