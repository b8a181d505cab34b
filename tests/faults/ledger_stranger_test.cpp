#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

#include <gmock/gmock.h>

#include <tests/process/ledger_child.h>
#include <tests/support/sqlite_file.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/linux/store_ledger_linux.h>

namespace {

namespace fs = std::filesystem;

using platform::StoreLedger;
using platform::StoreTransaction;
using platform::TransactionState;
using support::RunSql;

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

bool Buy(StoreLedger& ledger, const std::string& product) {
  StoreTransaction transaction;
  return ledger.Begin(product, true, &transaction) &&
         ledger.Settle(transaction.id, TransactionState::kPurchased, 0, &transaction);
}

/// All that a folder holds, but the lock.
std::map<std::string, std::string> Snapshot(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename();
    if (name != "ledger.lock") files[name] = ReadFile(entry.path());
  }
  return files;
}

class LedgerStrangerTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { support::KeepFoldersInMemory(); }

  std::string Path() const { return folder_.File("ledger.sqlite"); }
  /// In a folder whose name would mean something in a URI.
  std::string Copy(const std::string& name = {}) const { return folder_.File("c?o%41p#y") + name; }

  void Empty() const {
    for (const auto& entry : fs::directory_iterator(folder_.Path())) fs::remove_all(entry.path());
  }

  bool MakeLedger() const {
    StoreLedger ledger(folder_.Path());
    return Buy(ledger, "p");
  }

  support::TempFolder folder_;
};

/// What is no ledger of ours, or not any more, and must stay as it is to the byte.
struct Stranger {
  const char* name;
  const char* sql;
  const char* reason;
};

const Stranger kStrangers[] = {
    {"another program's", "CREATE TABLE a(b); INSERT INTO a VALUES(1)", "is another program's database, not a ledger"},
    {"another program's, still empty", "PRAGMA user_version = 0; VACUUM",
     "is another program's database, not a ledger"},
    {"another program's, with a log", "PRAGMA journal_mode = WAL; CREATE TABLE a(b); INSERT INTO a VALUES(1)",
     "is another program's database, not a ledger"},
    {"another application's", "PRAGMA application_id = 7; CREATE TABLE a(b)",
     "is another program's database, not a ledger"},
    {"another version of something", "PRAGMA user_version = 1; CREATE TABLE a(b)",
     "is another program's database, not a ledger"},
    {"no version", "PRAGMA application_id = 1414288974; CREATE TABLE a(b)",
     "is another program's database, not a ledger"},
    {"a later version", "PRAGMA application_id = 1414288974; PRAGMA user_version = 2; CREATE TABLE a(b)",
     "was written by a later version of this program"},
    {"a later version, with a log",
     "PRAGMA application_id = 1414288974; PRAGMA user_version = 99; PRAGMA journal_mode = WAL; CREATE TABLE a(b)",
     "was written by a later version of this program"},
};

TEST_F(LedgerStrangerTest, WhatIsNoLedgerStaysAsItIs) {
  for (const Stranger& stranger : kStrangers) {
    for (const bool in_use : {false, true}) {
      const testing::ScopedTrace trace(__FILE__, __LINE__, stranger.name);
      Empty();
      {
        support::SqliteFile file(folder_.File("original"));
        file.Run(stranger.sql);
        // With its log beside it, as a process leaves it that was killed.
        if (in_use) fs::copy(folder_.Path(), Copy());
      }
      if (!in_use) fs::copy(folder_.Path(), Copy());
      for (const char* suffix : {"", "-wal"}) {
        const std::string from = Copy("/original") + suffix;
        if (fs::exists(from)) fs::rename(from, Copy("/ledger.sqlite") + suffix);
      }
      const auto before = Snapshot(Copy());
      StoreLedger ledger(Copy());
      for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(Buy(ledger, "p"));
        EXPECT_EQ(ledger.Error(), Copy("/ledger.sqlite: ") + stranger.reason);
        EXPECT_TRUE(Snapshot(Copy()) == before);
      }
    }
  }
}

TEST_F(LedgerStrangerTest, ALedgerWithMoreInItIsLeftAlone) {
  for (const char* sql : {"CREATE TABLE a(b)", "CREATE INDEX a ON transactions(product)",
                          "CREATE TRIGGER a AFTER INSERT ON transactions BEGIN DELETE FROM transactions; END",
                          "CREATE VIEW a AS SELECT 1"}) {
    Empty();
    ASSERT_TRUE(MakeLedger());
    EXPECT_EQ(RunSql(Path(), sql), "");
    const std::string bytes = ReadFile(Path());
    StoreLedger ledger(folder_.Path());
    EXPECT_FALSE(Buy(ledger, "p")) << sql;
    EXPECT_EQ(ledger.Error(), Path() + ": holds more than a ledger of this version") << sql;
    EXPECT_TRUE(ReadFile(Path()) == bytes) << sql;
  }
  EXPECT_EQ(RunSql(Path(), "DROP VIEW a; ALTER TABLE transactions ADD COLUMN more TEXT"), "");
  StoreLedger ledger(folder_.Path());
  EXPECT_FALSE(Buy(ledger, "p"));
  EXPECT_EQ(ledger.Error(), Path() + ": is not laid out as a ledger of this version");
}

TEST_F(LedgerStrangerTest, AHalfWrittenTransactionIsUndoneBeforeItIsJudged) {
  ASSERT_TRUE(MakeLedger());
  {
    support::SqliteFile file(Path());
    // Unsynced, the journal is complete from the start.
    EXPECT_EQ(file.Run("PRAGMA journal_mode = DELETE; PRAGMA synchronous = OFF; BEGIN IMMEDIATE"), "delete");
    EXPECT_EQ(file.Run("PRAGMA application_id = 7"), "");
    fs::copy(Path() + "-journal", folder_.File("journal"));
    EXPECT_EQ(file.Run("COMMIT"), "");
  }
  EXPECT_EQ(RunSql(Path(), "PRAGMA application_id"), "7");
  fs::rename(folder_.File("journal"), Path() + "-journal");
  StoreLedger ledger(folder_.Path());
  EXPECT_TRUE(Buy(ledger, "q")) << ledger.Error();
  EXPECT_EQ(RunSql(Path(), "SELECT product FROM transactions ORDER BY id"), "p\nq");
}

}  // namespace
