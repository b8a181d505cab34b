// The names of a ledger's folders, and when they are on the disk. The definition here takes the place of the C
// library's for everything that is linked into this program.

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/faults.h>
#include <tests/support/files.h>
#include <tests/support/next_definition.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/linux/store_ledger_linux.h>

namespace {

namespace fs = std::filesystem;

using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

/// What is synced while there is no such file.
std::string ledger;
std::vector<std::string> synced;
/// The folder whose syncing fails.
std::string failing;
/// The folder in which this user may make nothing.
std::string closed;
/// Is whoever runs this another user than the owner of what is there?
bool is_stranger = false;

}  // namespace

extern "C" int fsync(int file) {
  const std::string path = fs::read_symlink("/proc/self/fd/" + std::to_string(file));
  if (path == failing) return support::FailNoted(EIO);
  if (!support::IsThere(ledger)) synced.push_back(path);
  return support::Next(&fsync, "fsync")(file);
}

extern "C" int faccessat(int folder, const char* path, int mode, int flags) {
  if (path == closed) {
    errno = EACCES;
    return -1;
  }
  return support::Next(&faccessat, "faccessat")(folder, path, mode, flags);
}

extern "C" uid_t geteuid() {
  const uid_t own = support::Next(&geteuid, "geteuid")();
  return is_stranger ? own + 1 : own;
}

namespace {

class LedgerFolderFault : public testing::Test {
 protected:
  LedgerFolderFault() { ledger = Folder() + "/ledger.sqlite"; }
  ~LedgerFolderFault() override {
    ledger.clear();
    failing.clear();
    closed.clear();
    is_stranger = false;
  }

  std::string Folder() const { return top_.File("a/b/c"); }

  /// \return the error, empty for none
  std::string Buy() const {
    synced.clear();
    platform::StoreLedger store(Folder());
    platform::StoreTransaction transaction;
    return store.Begin("p", true, &transaction) ? "" : store.Error();
  }

  const support::TempFolder top_;
};

TEST_F(LedgerFolderFault, TheNameOfEachNewFolderIsSynced) {
  EXPECT_EQ(Buy(), "");
  for (const std::string& above : {top_.Path(), top_.File("a"), top_.File("a/b")}) EXPECT_THAT(synced, Contains(above));
}

TEST_F(LedgerFolderFault, SoAreThoseThatAKilledRunHasLeft) {
  for (const char* left : {"a", "a/b", "a/b/c"}) {
    support::MakeFolder(top_.File(left));
    EXPECT_EQ(Buy(), "");
    for (const std::string& above : {top_.Path(), top_.File("a"), top_.File("a/b")}) {
      EXPECT_THAT(synced, Contains(above)) << left;
    }
    fs::remove_all(top_.File("a"));
  }
}

TEST_F(LedgerFolderFault, ALaterRunSyncsNoneOfThem) {
  EXPECT_EQ(Buy(), "");
  // From here on everything is noted.
  ledger = top_.File("none");
  synced.clear();
  platform::StoreLedger store(Folder());
  platform::StoreTransaction transaction;
  EXPECT_TRUE(store.Begin("q", true, &transaction)) << store.Error();
  for (const std::string& path : synced) EXPECT_THAT(path, StartsWith(Folder()));
}

TEST_F(LedgerFolderFault, ANameThatCannotBeSyncedIsAnErrorAndThereIsNoLedgerYet) {
  support::MakeFolder(Folder());
  for (const char* above : {"a", "a/b"}) {
    failing = top_.File(above);
    EXPECT_THAT(Buy(), HasSubstr("the ledger's folder cannot be used (Input/output error)")) << above;
    EXPECT_FALSE(support::IsThere(ledger)) << above;
  }
  failing.clear();
  EXPECT_EQ(Buy(), "");
}

TEST_F(LedgerFolderFault, ANameInAFolderWhereThisUserMayMakeNothingIsLeftToWhoeverMadeIt) {
  support::MakeFolder(top_.File("a"));
  failing = closed = top_.Path();
  EXPECT_EQ(Buy(), "");
  for (const std::string& above : {top_.File("a"), top_.File("a/b")}) EXPECT_THAT(synced, Contains(above));
}

TEST_F(LedgerFolderFault, SoIsThatOfAFolderOfAnotherUser) {
  support::MakeFolder(top_.File("a/b"));
  is_stranger = true;
  failing = top_.File("a");
  EXPECT_EQ(Buy(), "");
  EXPECT_THAT(synced, Contains(top_.File("a/b")));
}

}  // namespace
