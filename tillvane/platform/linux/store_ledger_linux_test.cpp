#include <tillvane/platform/linux/store_ledger_linux.h>

#include <unistd.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/sqlite_file.h>
#include <tests/support/temp_folder.h>

namespace {

using platform::StoreLedger;
using platform::StoreTransaction;
using platform::TransactionState;
using support::RunSql;

constexpr TransactionState kStates[] = {TransactionState::kPurchasing, TransactionState::kPurchased,
                                        TransactionState::kFailed, TransactionState::kRestored,
                                        TransactionState::kDeferred};

/// "product state code", in their order.
std::vector<std::string> Words(const std::vector<StoreTransaction>& transactions) {
  std::vector<std::string> words;
  for (const auto& transaction : transactions) {
    words.push_back(transaction.product + ' ' + std::to_string(static_cast<int>(transaction.state)) + ' ' +
                    std::to_string(transaction.error_code));
  }
  return words;
}

using WordList = std::vector<std::string>;

class StoreLedgerTest : public testing::Test {
 protected:
  /// Another instance, as another process would be.
  std::unique_ptr<StoreLedger> NewLedger() const { return std::make_unique<StoreLedger>(folder_.Path(), 100); }

  std::string Path() const { return folder_.File("ledger.sqlite"); }
  std::string Sql(const std::string& sql) const { return RunSql(Path(), sql); }

  static StoreTransaction Begin(StoreLedger& ledger, const std::string& product, bool non_consumable = true) {
    StoreTransaction transaction;
    EXPECT_TRUE(ledger.Begin(product, non_consumable, &transaction)) << ledger.Error();
    return transaction;
  }

  static StoreTransaction Settle(StoreLedger& ledger, long long id, TransactionState state, long code = 0) {
    StoreTransaction transaction;
    EXPECT_TRUE(ledger.Settle(id, state, code, &transaction)) << ledger.Error();
    return transaction;
  }

  static StoreTransaction Buy(StoreLedger& ledger, const std::string& product, bool non_consumable = true) {
    return Settle(ledger, Begin(ledger, product, non_consumable).id, TransactionState::kPurchased);
  }

  static long long Defer(StoreLedger& ledger, const std::string& product) {
    return Settle(ledger, Begin(ledger, product).id, TransactionState::kDeferred).id;
  }

  static std::vector<StoreTransaction> Take(StoreLedger& ledger) {
    std::vector<StoreTransaction> transactions;
    EXPECT_TRUE(ledger.TakeUnfinished(&transactions)) << ledger.Error();
    return transactions;
  }

  static WordList Taken(StoreLedger& ledger) { return Words(Take(ledger)); }

  static std::vector<StoreTransaction> Restore(StoreLedger& ledger) {
    std::vector<StoreTransaction> transactions;
    EXPECT_TRUE(ledger.Restore(&transactions)) << ledger.Error();
    return transactions;
  }

  static WordList Decided(StoreLedger& ledger, bool approve) {
    std::vector<StoreTransaction> transactions;
    EXPECT_TRUE(ledger.DecideDeferred(approve, &transactions)) << ledger.Error();
    return Words(transactions);
  }

  support::TempFolder folder_;
  std::unique_ptr<StoreLedger> ledger_ = NewLedger();
};

TEST_F(StoreLedgerTest, APurchaseIsNotedFromItsBeginning) {
  const std::time_t before = std::time(nullptr);
  const StoreTransaction begun = Begin(*ledger_, "p");
  EXPECT_GT(begun.id, 0);
  EXPECT_EQ(begun.state, TransactionState::kPurchasing);
  EXPECT_EQ(begun.product, "p");
  EXPECT_EQ(begun.error_code, 0);
  EXPECT_EQ(Sql("SELECT id, product, non_consumable, state, error_code, original, finished FROM transactions"),
            std::to_string(begun.id) + "|p|1|0|0|NULL|0");
  const std::time_t created = std::stoll(Sql("SELECT created FROM transactions"));
  EXPECT_GE(created, before);
  EXPECT_LE(created, std::time(nullptr));
}

TEST_F(StoreLedgerTest, EveryTransactionHasANumberOfItsOwn) {
  const long long first = Begin(*ledger_, "p").id;
  const long long second = Begin(*NewLedger(), "p").id;
  EXPECT_GT(second, first);
}

TEST_F(StoreLedgerTest, AnyTextIsAProduct) {
  const std::string products[] = {
      "", "ü", "'; DROP TABLE transactions; --", std::string("a\0b", 3), "\xFF\xFE", std::string(100000, 'x')};
  for (const std::string& product : products) {
    const StoreTransaction bought = Buy(*ledger_, product);
    EXPECT_EQ(bought.product, product);
    EXPECT_EQ(Take(*ledger_).back().product, product);
    EXPECT_EQ(Restore(*ledger_).back().product, product);
  }
}

TEST_F(StoreLedgerTest, AProductIsNotBegunWhenItIsTooLong) {
  StoreTransaction transaction;
  EXPECT_FALSE(ledger_->Begin(std::string(2 << 20, 'x'), true, &transaction));
  EXPECT_EQ(ledger_->Error(), Path() + ": string or blob too big");
  EXPECT_EQ(transaction.id, 0);
  Buy(*ledger_, "p");
  EXPECT_EQ(ledger_->Error(), "");
}

TEST_F(StoreLedgerTest, APurchaseGoesOnAsItWasSettled) {
  struct Case {
    TransactionState state;
    long code, noted;
  };
  for (const Case& c : {Case{TransactionState::kPurchased, 7, 0}, Case{TransactionState::kFailed, 7, 7},
                        Case{TransactionState::kFailed, -1, -1}, Case{TransactionState::kDeferred, 7, 0}}) {
    const long long id = Begin(*ledger_, "p").id;
    const StoreTransaction settled = Settle(*ledger_, id, c.state, c.code);
    const int state = static_cast<int>(c.state);
    EXPECT_EQ(settled.id, id) << state;
    EXPECT_EQ(settled.state, c.state);
    EXPECT_EQ(settled.product, "p") << state;
    EXPECT_EQ(settled.error_code, c.noted) << state;
    EXPECT_EQ(Sql("SELECT state, error_code FROM transactions WHERE id = " + std::to_string(id)),
              std::to_string(state) + '|' + std::to_string(c.noted));
  }
}

TEST_F(StoreLedgerTest, OnlyThesePassesAreAllowed) {
  // Rows: from; columns: to. A purchase is restored by Restore() alone, and nothing goes back.
  const bool allowed[5][5] = {
      {false, true, true, false, true},     // purchasing
      {false, false, false, false, false},  // purchased
      {false, false, false, false, false},  // failed
      {false, false, false, false, false},  // restored
      {false, true, true, false, false},    // deferred
  };
  for (const TransactionState from : kStates) {
    for (const TransactionState to : kStates) {
      const long long id = Begin(*ledger_, "p", false).id;
      const std::string row = " transactions SET state = " + std::to_string(static_cast<int>(from));
      ASSERT_EQ(Sql("UPDATE" + row + " WHERE id = " + std::to_string(id)), "");
      StoreTransaction transaction;
      transaction.product = "untouched";
      const bool expected = allowed[static_cast<int>(from)][static_cast<int>(to)];
      EXPECT_EQ(ledger_->Settle(id, to, 0, &transaction), expected)
          << static_cast<int>(from) << " to " << static_cast<int>(to);
      EXPECT_EQ(transaction.product, expected ? "p" : "untouched");
      EXPECT_EQ(ledger_->Error().empty(), expected) << ledger_->Error();
      const TransactionState now = expected ? to : from;
      EXPECT_EQ(Sql("SELECT state FROM transactions WHERE id = " + std::to_string(id)),
                std::to_string(static_cast<int>(now)));
    }
  }
}

TEST_F(StoreLedgerTest, SettlingSaysWhyNot) {
  const long long bought = Buy(*ledger_, "p").id;
  const long long other = Begin(*NewLedger(), "p").id;
  const long long deferred = Defer(*ledger_, "p");
  struct Case {
    long long id;
    TransactionState to;
    std::string why;
  };
  const Case cases[] = {
      {12345, TransactionState::kPurchased, " is unknown"},
      {-1, TransactionState::kPurchased, " is unknown"},
      {bought, TransactionState::kFailed, " is settled already"},
      {other, TransactionState::kPurchased, " belongs to another process"},
      {deferred, TransactionState::kDeferred, " cannot go on like that"},
  };
  for (const Case& c : cases) {
    StoreTransaction transaction;
    EXPECT_FALSE(ledger_->Settle(c.id, c.to, 0, &transaction));
    EXPECT_EQ(ledger_->Error(), Path() + ": transaction " + std::to_string(c.id) + c.why);
  }
}

TEST_F(StoreLedgerTest, APurchaseGoesOnAfterAnError) {
  const long long id = Begin(*ledger_, "p").id;
  StoreTransaction transaction;
  ASSERT_FALSE(ledger_->Settle(id + 1, TransactionState::kPurchased, 0, &transaction));
  // Another instance may not take it for that of an ended one meanwhile.
  EXPECT_EQ(Taken(*NewLedger()), WordList{});
  EXPECT_EQ(Settle(*ledger_, id, TransactionState::kPurchased).product, "p");
}

TEST_F(StoreLedgerTest, ASecondPurchaseOfWhatIsOwnedIsPurchasedButNoGrant) {
  const long long grant = Buy(*ledger_, "p").id;
  EXPECT_EQ(Buy(*ledger_, "p").state, TransactionState::kPurchased);
  EXPECT_EQ(Buy(*NewLedger(), "p").state, TransactionState::kPurchased);
  EXPECT_EQ(Sql("SELECT original FROM transactions ORDER BY id"),
            "NULL\n" + std::to_string(grant) + '\n' + std::to_string(grant));
  EXPECT_EQ(Words(Restore(*ledger_)), WordList{"p 3 0"});
}

TEST_F(StoreLedgerTest, AConsumableIsBoughtAnewEachTime) {
  Buy(*ledger_, "coins", false);
  Buy(*ledger_, "coins", false);
  EXPECT_EQ(Sql("SELECT original FROM transactions"), "NULL\nNULL");
  EXPECT_EQ(Words(Restore(*ledger_)), WordList{});
}

TEST_F(StoreLedgerTest, AProductMayChangeItsKind) {
  Buy(*ledger_, "p", false);
  const long long grant = Buy(*ledger_, "p", true).id;
  Buy(*ledger_, "p", false);
  Buy(*ledger_, "p", true);
  EXPECT_EQ(Sql("SELECT original FROM transactions ORDER BY id"), "NULL\nNULL\nNULL\n" + std::to_string(grant));
  EXPECT_EQ(Words(Restore(*ledger_)), WordList{"p 3 0"});
}

TEST_F(StoreLedgerTest, TheFileItselfHoldsThatThereIsOneGrant) {
  Buy(*ledger_, "p");
  Buy(*ledger_, "p");
  EXPECT_EQ(Sql("UPDATE transactions SET original = NULL"), "error: UNIQUE constraint failed: transactions.product");
}

TEST_F(StoreLedgerTest, WhatIsFinishedIsNotToldAgain) {
  const long long bought = Buy(*ledger_, "p").id;
  const long long failed = Settle(*ledger_, Begin(*ledger_, "q").id, TransactionState::kFailed, 2).id;
  EXPECT_EQ(Taken(*ledger_), (WordList{"p 1 0", "q 2 2"}));
  EXPECT_TRUE(ledger_->Finish(bought));
  EXPECT_EQ(Taken(*ledger_), WordList{"q 2 2"});
  EXPECT_TRUE(ledger_->Finish(failed));
  EXPECT_EQ(Taken(*ledger_), WordList{});
}

TEST_F(StoreLedgerTest, FinishingTwiceOrTheUnknownIsTrue) {
  const long long bought = Buy(*ledger_, "p").id;
  for (const long long id : {bought, bought, bought + 1, 0LL, -1LL}) {
    EXPECT_TRUE(ledger_->Finish(id)) << id << ": " << ledger_->Error();
  }
  EXPECT_EQ(Taken(*ledger_), WordList{});
}

TEST_F(StoreLedgerTest, OnlyAFinalTransactionCanBeFinished) {
  const long long begun = Begin(*ledger_, "p").id;
  const long long deferred = Defer(*ledger_, "q");
  for (const long long id : {begun, deferred}) {
    EXPECT_FALSE(ledger_->Finish(id));
    EXPECT_EQ(ledger_->Error(), Path() + ": transaction " + std::to_string(id) + " is not settled yet");
  }
  EXPECT_EQ(Sql("SELECT count(*) FROM transactions WHERE finished = 1"), "0");
}

TEST_F(StoreLedgerTest, ALiveInstancesTransactionIsNotFinishedByAnother) {
  auto other = NewLedger();
  const long long id = Buy(*other, "p").id;
  EXPECT_FALSE(ledger_->Finish(id));
  EXPECT_EQ(ledger_->Error(), Path() + ": transaction " + std::to_string(id) + " belongs to another process");
  EXPECT_EQ(Taken(*other), WordList{"p 1 0"});
  other.reset();
  EXPECT_TRUE(ledger_->Finish(id)) << ledger_->Error();
  EXPECT_EQ(Taken(*ledger_), WordList{});
}

TEST_F(StoreLedgerTest, NothingIsTakenFromALiveInstance) {
  auto other = NewLedger();
  Begin(*other, "begun");
  Buy(*other, "bought");
  EXPECT_EQ(Taken(*ledger_), WordList{});
  EXPECT_EQ(Taken(*other), WordList{"bought 1 0"});
}

TEST_F(StoreLedgerTest, WhatAnEndedInstanceLeftIsTakenOverOnce) {
  auto other = NewLedger();
  const StoreTransaction begun = Begin(*other, "begun");
  Settle(*other, Begin(*other, "failed").id, TransactionState::kFailed, 9);
  Buy(*other, "bought");
  ASSERT_TRUE(other->Finish(Buy(*other, "finished").id));
  Restore(*other);
  Defer(*other, "deferred");
  other.reset();
  // Oldest first; a restored transaction is left like any other.
  EXPECT_EQ(Taken(*ledger_), (WordList{"failed 2 9", "bought 1 0", "bought 3 0", "finished 3 0"}));
  EXPECT_EQ(Taken(*NewLedger()), WordList{});
  EXPECT_EQ(Taken(*ledger_).size(), 4U);
  EXPECT_EQ(Sql("SELECT state, finished FROM transactions WHERE id = " + std::to_string(begun.id)), "2|1");
  StoreTransaction transaction;
  EXPECT_FALSE(ledger_->Settle(begun.id, TransactionState::kPurchased, 0, &transaction));
}

TEST_F(StoreLedgerTest, WhatWasTakenOverIsLeftToTheNextOne) {
  Buy(*NewLedger(), "p");
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Taken(*NewLedger()), WordList{"p 1 0"}) << i;
}

TEST_F(StoreLedgerTest, ADeferredPurchaseWaitsForItsDecision) {
  const long long others = Defer(*NewLedger(), "p");
  Defer(*ledger_, "q");
  EXPECT_EQ(Taken(*ledger_), WordList{});
  EXPECT_EQ(Taken(*NewLedger()), WordList{});
  EXPECT_EQ(Words(Restore(*ledger_)), WordList{});
  EXPECT_EQ(Sql("SELECT state, finished FROM transactions"), "4|0\n4|0");
  StoreTransaction transaction;
  EXPECT_FALSE(ledger_->Settle(others, TransactionState::kPurchased, 0, &transaction)) << "it was not taken over";
}

TEST_F(StoreLedgerTest, AnyInstanceDecidesAndGetsWhatItDecided) {
  struct Case {
    bool approve;
    WordList expected;
  };
  for (const Case& c : {Case{true, {"p 1 0", "p 1 0"}}, Case{false, {"q 2 2", "q 2 2"}}}) {
    const std::string product = c.approve ? "p" : "q";
    auto other = NewLedger();
    Defer(*other, product);
    Defer(*ledger_, product);
    auto third = NewLedger();
    EXPECT_EQ(Decided(*third, c.approve), c.expected);
    EXPECT_EQ(Decided(*third, c.approve), WordList{}) << "decided twice";
    EXPECT_EQ(Taken(*other), WordList{});
    EXPECT_EQ(Taken(*third), c.expected);
    for (const StoreTransaction& transaction : Take(*third)) EXPECT_TRUE(third->Finish(transaction.id));
  }
  EXPECT_EQ(Sql("SELECT count(*) FROM transactions WHERE product = 'p' AND original IS NULL"), "1");
}

TEST_F(StoreLedgerTest, DecidingWhatIsOwnedGrantsNothingTwice) {
  const long long id = Defer(*ledger_, "p");
  const long long grant = Buy(*ledger_, "p").id;
  EXPECT_EQ(Decided(*ledger_, true), WordList{"p 1 0"});
  EXPECT_EQ(Sql("SELECT original FROM transactions WHERE id = " + std::to_string(id)), std::to_string(grant));
}

TEST_F(StoreLedgerTest, NothingToDecideOrRestoreIsAnEmptyAnswer) {
  EXPECT_EQ(Decided(*ledger_, true), WordList{});
  EXPECT_EQ(Words(Restore(*ledger_)), WordList{});
  EXPECT_EQ(Taken(*ledger_), WordList{});
}

TEST_F(StoreLedgerTest, RestoreAnswersForWhatIsOwned) {
  const long long first = Buy(*ledger_, "b").id;
  const long long second = Buy(*NewLedger(), "a").id;
  Settle(*ledger_, Begin(*ledger_, "failed").id, TransactionState::kFailed, 1);
  Begin(*ledger_, "begun");
  const std::vector<StoreTransaction> restored = Restore(*ledger_);
  EXPECT_EQ(Words(restored), (WordList{"b 3 0", "a 3 0"}));
  EXPECT_EQ(Sql("SELECT id, original, finished FROM transactions WHERE state = 3 ORDER BY id"),
            std::to_string(restored.at(0).id) + '|' + std::to_string(first) + "|0\n" +
                std::to_string(restored.at(1).id) + '|' + std::to_string(second) + "|0");
  EXPECT_EQ(Words(Restore(*ledger_)), (WordList{"b 3 0", "a 3 0"})) << "as often as it is asked";
  for (const StoreTransaction& transaction : restored) EXPECT_TRUE(ledger_->Finish(transaction.id));
}

TEST_F(StoreLedgerTest, AnAnswerReplacesWhatWasThere) {
  std::vector<StoreTransaction> transactions(3);
  EXPECT_TRUE(ledger_->TakeUnfinished(&transactions));
  EXPECT_TRUE(transactions.empty());
}

TEST_F(StoreLedgerTest, WhatIsRemovedOrReplacedMeanwhileIsOpenedAnew) {
  Buy(*ledger_, "p");
  for (const char* name : {"ledger.sqlite", "ledger.lock"}) {
    ASSERT_EQ(unlink(folder_.File(name).c_str()), 0);
    unlink(folder_.File("ledger.sqlite-wal").c_str());
    unlink(folder_.File("ledger.sqlite-shm").c_str());
    Buy(*ledger_, name);
    EXPECT_EQ(access(folder_.File(name).c_str(), F_OK), 0) << name;
    EXPECT_EQ(Sql(std::string("SELECT count(*) FROM transactions WHERE product = '") + name + "'"), "1");
    EXPECT_EQ(Taken(*NewLedger()), WordList{}) << "the instance is still alive";
  }
}

TEST_F(StoreLedgerTest, AnotherLedgersNumbersAreOthers) {
  const long long old = Begin(*ledger_, "p").id;
  for (const char* name : {"ledger.sqlite", "ledger.sqlite-wal", "ledger.sqlite-shm"}) {
    unlink(folder_.File(name).c_str());
  }
  const long long begun = Begin(*ledger_, "q").id;
  EXPECT_NE(begun, old);
  StoreTransaction transaction;
  EXPECT_FALSE(ledger_->Settle(old, TransactionState::kPurchased, 0, &transaction));
  EXPECT_EQ(ledger_->Error(), Path() + ": transaction " + std::to_string(old) + " is unknown");
}

}  // namespace
