#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/process/ledger_child.h>
#include <tests/support/faults.h>
#include <tests/support/sqlite_file.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/linux/store_ledger_linux.h>

namespace {

using platform::StoreLedger;
using platform::StoreTransaction;
using platform::TransactionState;
using support::IsTrue;
using support::LedgerChild;
using support::RunSql;

class LedgerProcessTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { support::KeepFoldersInMemory(); }
};

std::string Path(const support::TempFolder& folder) { return folder.File("ledger.sqlite"); }

std::vector<StoreTransaction> Take(StoreLedger& ledger) {
  std::vector<StoreTransaction> transactions;
  EXPECT_TRUE(ledger.TakeUnfinished(&transactions)) << ledger.Error();
  return transactions;
}

TEST_F(LedgerProcessTest, BuyingOneProductAtOnceGrantsItOnce) {
  constexpr int kRounds = 200;
  const support::TempFolder folder;
  LedgerChild one(folder.Path());
  LedgerChild other(folder.Path());
  for (int round = 0; round < kRounds; ++round) {
    const std::string buy = "buy p" + std::to_string(round);
    one.Tell(buy);
    other.Tell(buy);
    const std::string first = one.Answer();
    const std::string second = other.Answer();
    EXPECT_TRUE(IsTrue(first) && IsTrue(second)) << round << ": " << first << "; " << second;
  }
  const std::string grants = " FROM transactions WHERE state = 1 AND original IS NULL";
  EXPECT_EQ(RunSql(Path(folder), "SELECT count(*), count(DISTINCT product)" + grants), "200|200");
  EXPECT_EQ(
      RunSql(Path(folder),
             "SELECT count(*) FROM transactions AS second JOIN transactions AS first ON first.id = second.original "
             "WHERE second.product = first.product AND second.state = 1 AND first.original IS NULL"),
      "200");
  // Each has an answer of its own for each, and sees all of them owned.
  for (LedgerChild* child : {&one, &other}) {
    const std::string taken = child->Ask("take");
    EXPECT_EQ(std::count(taken.begin(), taken.end(), ' '), kRounds);
    const std::string restored = child->Ask("restore");
    EXPECT_EQ(std::count(restored.begin(), restored.end(), ' '), kRounds);
  }
}

TEST_F(LedgerProcessTest, StartingAtOnceMakesOneLedger) {
  for (int round = 0; round < 40; ++round) {
    const support::TempFolder folder;
    const std::string ledger = folder.File("a/b");
    LedgerChild children[3];
    for (LedgerChild& child : children) child.Tell("open " + ledger + "\nbuy p");
    for (LedgerChild& child : children) {
      EXPECT_EQ(child.Answer(), "true") << round;
      const std::string bought = child.Answer();
      EXPECT_TRUE(IsTrue(bought)) << round << ": " << bought;
    }
    EXPECT_EQ(RunSql(ledger + "/ledger.sqlite", "SELECT count(*), count(original) FROM transactions"), "3|2") << round;
  }
}

TEST_F(LedgerProcessTest, StartingAtOnceTakesOverOnce) {
  for (int round = 0; round < 40; ++round) {
    const support::TempFolder folder;
    LedgerChild buyer(folder.Path());
    for (const char* product : {"a", "b", "c"}) EXPECT_TRUE(IsTrue(buyer.Ask(std::string("buy ") + product)));
    LedgerChild children[3];
    for (LedgerChild& child : children) EXPECT_EQ(child.Ask("open " + folder.Path()), "true");
    buyer.Kill();
    for (LedgerChild& child : children) child.Tell("take");
    int taken = 0;
    for (LedgerChild& child : children) {
      const std::string answer = child.Answer();
      EXPECT_TRUE(IsTrue(answer)) << answer;
      taken += static_cast<int>(std::count(answer.begin(), answer.end(), ' '));
    }
    EXPECT_EQ(taken, 3) << round;
  }
}

TEST_F(LedgerProcessTest, OnlyAnEndedProcessLosesItsTransactions) {
  const support::TempFolder folder;
  LedgerChild buyer(folder.Path());
  const std::string bought = buyer.Ask("buy p");
  const std::string begun = buyer.Ask("begin q");
  ASSERT_TRUE(IsTrue(bought) && IsTrue(begun));
  LedgerChild other(folder.Path());
  EXPECT_EQ(other.Ask("take"), "true");
  EXPECT_FALSE(IsTrue(other.Ask("settle" + begun.substr(4) + " 1")));
  EXPECT_FALSE(IsTrue(other.Ask("finish" + bought.substr(4))));
  EXPECT_EQ(buyer.Ask("settle" + begun.substr(4) + " 1"), "true");
  buyer.Kill();
  EXPECT_EQ(other.Ask("take"), bought + ":p:1" + begun.substr(4) + ":q:1");
}

TEST_F(LedgerProcessTest, ADeferredPurchaseOutlivesItsProcess) {
  const support::TempFolder folder;
  LedgerChild buyer(folder.Path());
  const std::string begun = buyer.Ask("begin p");
  ASSERT_TRUE(IsTrue(begun));
  EXPECT_EQ(buyer.Ask("settle" + begun.substr(4) + " 4"), "true");
  buyer.Kill();
  LedgerChild one(folder.Path());
  LedgerChild other(folder.Path());
  EXPECT_EQ(one.Ask("take"), "true");
  EXPECT_EQ(other.Ask("decide 1"), begun + ":p:1");
  EXPECT_EQ(one.Ask("take"), "true");
  EXPECT_EQ(one.Ask("decide 0"), "true");
  EXPECT_EQ(other.Ask("take"), begun + ":p:1");
}

TEST_F(LedgerProcessTest, AnotherInstanceInAProcessLeavesItsLocksAlone) {
  const support::TempFolder folder;
  StoreLedger ledger(folder.Path());
  Take(ledger);
  {
    StoreLedger second(folder.Path());
    Take(second);
  }
  {
    LedgerChild other(folder.Path());
    EXPECT_TRUE(IsTrue(other.Ask("buy p")));
  }
  // The other process would have emptied the log and taken it away, had it found itself alone.
  EXPECT_EQ(access((Path(folder) + "-wal").c_str(), F_OK), 0);
}

TEST_F(LedgerProcessTest, AForkedChildKeepsItsParentsInstanceAlive) {
  const support::TempFolder folder;
  auto ledger = std::make_unique<StoreLedger>(folder.Path());
  StoreTransaction transaction;
  ASSERT_TRUE(ledger->Begin("p", true, &transaction));
  ASSERT_TRUE(ledger->Settle(transaction.id, TransactionState::kPurchased, 0, &transaction));
  const pid_t child = fork();
  if (child == 0) {
    pause();
    _exit(0);
  }
  ledger.reset();
  StoreLedger other(folder.Path());
  EXPECT_EQ(Take(other).size(), 0U);
  support::NoteFault("process", 0, "killed");
  kill(child, SIGKILL);
  EXPECT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_EQ(Take(other).size(), 1U);
}

}  // namespace
