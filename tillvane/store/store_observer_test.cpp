#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/store/scripted_backend.h>
#include <tillvane/store/store_observer.h>
#include <tillvane/store/store_rules.h>

namespace {

using platform::TransactionState;
using Batch = ScriptedStore::Batch;
using Lines = std::vector<std::string>;

class StoreObserverTest : public testing::Test {
 protected:
  ScriptedBackend backend_;
  ScriptedStore& store_ = backend_.Store();
  PumpingProcess process_{backend_};
};

TEST(StoreRulesTest, EveryStateAsksForItsStep) {
  const struct {
    int state;
    store::Step step;
  } cases[] = {
      {0, store::Step::kLeave}, {1, store::Step::kComplete}, {2, store::Step::kFail},   {3, store::Step::kRestore},
      {4, store::Step::kLeave}, {5, store::Step::kLeave},    {-1, store::Step::kLeave},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(store::StepOf(static_cast<TransactionState>(one.state)), one.step) << one.state;
  }
}

TEST(StoreRulesTest, OnlyAPaymentThatTheUserCancelledIsCancelled) {
  // A long whose lower half is the code of a cancelled payment, where a long has more than 32 bits.
  constexpr long half_right = (1L << (8 * sizeof(long) - 2)) + 2;
  for (const long code : {-2L, -1L, 0L, 1L, 3L, 4L, 22L, half_right}) {
    EXPECT_EQ(store::OutcomeOfFailure(code), 3) << code;
  }
  EXPECT_EQ(store::OutcomeOfFailure(2), 1);
}

struct BatchCase {
  const char* name;
  Batch batch;
  int wait;    ///< what a wait during which the batch arrives answers
  int result;  ///< afterwards; it was 2
  Lines finished;
};

const BatchCase kBatches[] = {
    {"empty", {}, 2, 2, {}},
    {"purchasing", {{1, TransactionState::kPurchasing, "", 0}}, 2, 2, {}},
    {"purchased", {{1, TransactionState::kPurchased, "", 0}}, 0, 0, {"finish 1"}},
    {"purchased, a code that means nothing", {{1, TransactionState::kPurchased, "", 2}}, 0, 0, {"finish 1"}},
    {"cancelled", {{1, TransactionState::kFailed, "", 2}}, 0, 1, {"finish 1"}},
    {"failed", {{1, TransactionState::kFailed, "", 0}}, 0, 3, {"finish 1"}},
    {"failed, not allowed", {{1, TransactionState::kFailed, "", 4}}, 0, 3, {"finish 1"}},
    {"restored", {{1, TransactionState::kRestored, "", 0}}, 0, 0, {"finish 1"}},
    {"deferred", {{1, TransactionState::kDeferred, "", 0}}, 2, 2, {}},
    {"a state of a later store", {{1, static_cast<TransactionState>(5), "", 0}}, 2, 2, {}},
    {"cancelled, then purchased",
     {{1, TransactionState::kFailed, "", 2}, {2, TransactionState::kPurchased, "", 0}},
     0,
     0,
     {"finish 1", "finish 2"}},
    {"purchased, then failed",
     {{1, TransactionState::kPurchased, "", 0}, {2, TransactionState::kFailed, "", 0}},
     0,
     3,
     {"finish 1", "finish 2"}},
    {"purchasing first",
     {{1, TransactionState::kPurchasing, "", 0}, {2, TransactionState::kPurchased, "", 0}},
     2,
     0,
     {"finish 2"}},
    {"deferred last",
     {{1, TransactionState::kRestored, "", 0}, {2, TransactionState::kDeferred, "", 0}},
     2,
     0,
     {"finish 1"}},
    {"purchasing in the middle",
     {{1, TransactionState::kFailed, "", 0},
      {2, TransactionState::kPurchasing, "", 0},
      {3, TransactionState::kFailed, "", 2}},
     2,
     1,
     {"finish 1", "finish 3"}},
};

TEST_F(StoreObserverTest, ABatchIsWalkedAndSignalsWhenAllOfItIsFinal) {
  for (const BatchCase& one : kBatches) {
    SCOPED_TRACE(one.name);
    TillvaneStoreObserver observer(store_);
    store_.AddTransactionObserver(observer);
    observer.RestoreFailed();
    store_.log.clear();
    process_.answers.clear();
    store_.Say(ScriptedStore::Tell(one.batch));
    observer.Process(&process_);
    EXPECT_EQ(process_.answers, std::vector<int>{one.wait});
    EXPECT_EQ(observer.GetResult(), one.result);
    EXPECT_EQ(store_.log, one.finished);
  }
}

TEST_F(StoreObserverTest, ANewObserverHoldsAFailure) { EXPECT_EQ(TillvaneStoreObserver(store_).GetResult(), 3); }

TEST_F(StoreObserverTest, TheEndOfARestoreSetsTheResultAndSignals) {
  TillvaneStoreObserver observer(store_);
  store_.AddTransactionObserver(observer);
  store_.Say(ScriptedStore::TellRestoreFinished());
  observer.Process(&process_);
  EXPECT_EQ(observer.GetResult(), 0);
  store_.Say(ScriptedStore::TellRestoreFailed());
  observer.Process(&process_);
  EXPECT_EQ(observer.GetResult(), 2);
  EXPECT_EQ(process_.answers, (std::vector{0, 0}));
  EXPECT_EQ(process_.waits, (std::vector{60000u, 60000u}));
}

TEST_F(StoreObserverTest, OnlyASignalAfterTheBeginningOfAWaitCounts) {
  TillvaneStoreObserver observer(store_);
  observer.RestoreFailed();
  observer.UpdatedTransactions({{1, TransactionState::kPurchased, "", 0}});
  observer.Process(&process_);
  EXPECT_EQ(process_.answers, std::vector{2});
  EXPECT_EQ(observer.GetResult(), 0);
}

}  // namespace
