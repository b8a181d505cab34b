#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/file_mask.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/sqlite_file.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/linux/store_ledger_linux.h>

namespace {

using platform::StoreLedger;
using platform::StoreTransaction;
using platform::TransactionState;

class StoreLedgerFilesTest : public testing::Test {
 protected:
  std::string Path() const { return folder_.File("ledger.sqlite"); }
  std::string Sql(const std::string& sql) const { return support::RunSql(Path(), sql); }

  static void Buy(StoreLedger& ledger, const std::string& product) {
    StoreTransaction transaction;
    EXPECT_TRUE(ledger.Begin(product, true, &transaction)) << ledger.Error();
    EXPECT_TRUE(ledger.Settle(transaction.id, TransactionState::kPurchased, 0, &transaction)) << ledger.Error();
  }

  support::TempFolder folder_;
  std::unique_ptr<StoreLedger> ledger_ = std::make_unique<StoreLedger>(folder_.Path());
};

unsigned int ModeOf(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777U : 0;
}

TEST_F(StoreLedgerFilesTest, NothingIsOpenedBeforeTheFirstCall) {
  const auto before = support::ListOpenDescriptors();
  StoreLedger ledger(folder_.File("new"));
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
  EXPECT_EQ(access(folder_.File("new").c_str(), F_OK), -1);
}

TEST_F(StoreLedgerFilesTest, EverythingIsTheUsersAlone) {
  // As the library's host has it.
  const support::FileMask no_mask(0);
  StoreLedger ledger(folder_.File("a/b//c/"));
  Buy(ledger, "p");
  for (const char* name : {"a", "a/b", "a/b/c"}) EXPECT_EQ(ModeOf(folder_.File(name)), 0700U) << name;
  for (const char* name : {"ledger.sqlite", "ledger.sqlite-wal", "ledger.sqlite-shm", "ledger.lock"}) {
    EXPECT_EQ(ModeOf(folder_.File("a/b/c/") + name), 0600U) << name;
  }
}

TEST_F(StoreLedgerFilesTest, AFolderThatStandsIsLeftAsItIs) {
  ASSERT_EQ(chmod(folder_.Path().c_str(), 0755), 0);
  Buy(*ledger_, "p");
  EXPECT_EQ(ModeOf(folder_.Path()), 0755U);
}

TEST_F(StoreLedgerFilesTest, ARelativeFolderStaysWhereItWas) {
  char* const before = get_current_dir_name();
  ASSERT_EQ(chdir(folder_.Path().c_str()), 0);
  StoreLedger ledger("here");
  ASSERT_EQ(chdir("/"), 0);
  Buy(ledger, "p");
  EXPECT_EQ(access(folder_.File("here/ledger.sqlite").c_str(), F_OK), 0);
  ASSERT_EQ(chdir(before), 0);
  free(before);
}

TEST_F(StoreLedgerFilesTest, NamesThatMeanSomethingToSqliteAreNames) {
  for (const char* name : {"a?mode=memory", "b#c", "d%41", "e f", "file:g", "h\ni", "ü"}) {
    StoreLedger ledger(folder_.File(name));
    Buy(ledger, "p");
    EXPECT_EQ(access(folder_.File(std::string(name) + "/ledger.sqlite").c_str(), F_OK), 0) << name;
    // The second opening looks into what the first one has made.
    StoreLedger second(folder_.File(name));
    std::vector<StoreTransaction> restored;
    EXPECT_TRUE(second.Restore(&restored)) << second.Error();
    EXPECT_EQ(restored.size(), 1U) << name;
  }
}

TEST_F(StoreLedgerFilesTest, TheFileSaysWhatItIs) {
  Buy(*ledger_, "p");
  EXPECT_EQ(Sql("PRAGMA application_id"), std::to_string(0x544C564E));
  EXPECT_EQ(Sql("PRAGMA user_version"), "1");
  EXPECT_EQ(Sql("PRAGMA journal_mode"), "wal");
}

TEST_F(StoreLedgerFilesTest, AnEmptyFileIsANewLedger) {
  folder_.Write("ledger.sqlite", "");
  Buy(*ledger_, "p");
  EXPECT_EQ(Sql("PRAGMA user_version"), "1");
}

TEST_F(StoreLedgerFilesTest, NothingIsLeftOpenForAnExecutedProgram) {
  const auto before = support::ListOpenDescriptors();
  Buy(*ledger_, "p");
  const auto after = support::ListOpenDescriptors();
  EXPECT_GT(after.size(), before.size());
  for (const auto& [descriptor, what] : after) {
    EXPECT_TRUE(before.count(descriptor) != 0 || (fcntl(descriptor, F_GETFD) & FD_CLOEXEC) != 0) << what;
  }
}

TEST_F(StoreLedgerFilesTest, NothingStaysOpenAtTheEnd) {
  const auto before = support::ListOpenDescriptors();
  Buy(*ledger_, "p");
  Buy(*std::make_unique<StoreLedger>(folder_.Path()), "p");
  ledger_.reset();
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
  EXPECT_EQ(access((Path() + "-wal").c_str(), F_OK), -1) << "the last one to leave empties the log";
}

}  // namespace
