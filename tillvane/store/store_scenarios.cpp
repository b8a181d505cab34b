#include <tillvane/store/store_scenarios.h>

#include <array>

using platform::StoreProduct;
using platform::TransactionState;

Unable StoreBackend::AnswerRequestsWith(const Products&) { return "this store answers only what was asked for"; }
Unable StoreBackend::HoldAnswers() { return "this store's answers cannot be held back"; }
Unable StoreBackend::ReleaseAnswers() { return "this store's answers cannot be held back"; }
Unable StoreBackend::Deliver(const Batch&) { return "this store makes its batches itself"; }

bool PumpingProcess::ProcessWait(unsigned int) {
  ADD_FAILURE() << "the bridge waits for signals only";
  return false;
}

int PumpingProcess::ProcessWaitSignalObjectGroup(LSignalObjectGroup&, unsigned int) {
  ADD_FAILURE() << "the bridge waits for one signal at a time";
  return 2;
}

int PumpingProcess::ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) {
  waits.push_back(ms);
  const int answer = WaitFor(signal);
  answers.push_back(answer);
  return answer;
}

int PumpingProcess::WaitFor(LSignalObjectRef signal) {
  for (;;) {
    if (signal.IsSignaled()) return 0;
    if (stopped) return 1;
    if (!backend_.Pump()) return 2;
  }
}

const StoreProduct& StoreScenarios::Viewer() {
  static const StoreProduct product{"org.example.viewer.paid", "4.99", "USD", "en_US"};
  return product;
}

void StoreScenarios::SetUp() {
  // One store at a time: two may share a place on the disk.
  backend_.reset();
  backend_ = GetParam()();
  process_ = std::make_unique<PumpingProcess>(*backend_);
}

bool StoreScenarios::Lacks(Unable reason) {
  if (reason == nullptr) return false;
  [&] { GTEST_SKIP() << reason; }();
  return true;
}

std::string StoreScenarios::Price(StoreBridge& bridge, const char* base) {
  process_->waits.clear();
  process_->answers.clear();
  std::array<char, 128> buffer{};
  std::string(kUntouched).copy(buffer.data(), buffer.size() - 1);
  EXPECT_EQ(bridge.GetPrice(*process_, buffer.data(), base), 1);
  return buffer.data();
}

std::unique_ptr<StoreBridge> StoreScenarios::LoadedBridge() {
  backend_->Sell({Viewer()});
  std::unique_ptr<StoreBridge> bridge = backend_->MakeBridge();
  EXPECT_EQ(Price(*bridge), backend_->PriceText(Viewer()));
  return bridge;
}

int StoreScenarios::Purchase(StoreBridge& bridge, bool restore) {
  process_->waits.clear();
  process_->answers.clear();
  process_->errors.clear();
  return bridge.Purchase(*process_, restore);
}

void StoreScenarios::ExpectOneWait(int answer) {
  EXPECT_EQ(process_->waits, std::vector<unsigned int>{60000});
  EXPECT_EQ(process_->answers, std::vector<int>{answer});
}

void StoreScenarios::ExpectNoWait() { EXPECT_EQ(process_->waits, std::vector<unsigned int>()); }

void StoreScenarios::ExpectPurchaseFailedError() {
  EXPECT_EQ(process_->errors, std::vector<std::string>{"Purchase failed for unknown reasons"});
}

void StoreScenarios::ExpectCounts(StoreCounts expected) {
  const std::optional<StoreCounts> counts = backend_->Counts();
  if (!counts) return;
  EXPECT_EQ(counts->requests, expected.requests);
  EXPECT_EQ(counts->payments, expected.payments);
  EXPECT_EQ(counts->restores, expected.restores);
}

namespace {

struct PurchaseEnd {
  TransactionState state;
  long error_code;
  int answer;
  bool is_error;
};

constexpr PurchaseEnd kPurchaseEnds[] = {
    {TransactionState::kPurchased, 0, 0, false}, {TransactionState::kRestored, 0, 0, false},
    {TransactionState::kFailed, 2, 1, false},    {TransactionState::kFailed, 0, 2, true},
    {TransactionState::kFailed, 1, 2, true},     {TransactionState::kFailed, 3, 2, true},
    {TransactionState::kFailed, -2, 2, true},
};

constexpr TransactionState kInProgress[] = {TransactionState::kPurchasing, TransactionState::kDeferred};

}  // namespace

TEST_P(StoreScenarios, ThePriceOfTheProductIsWaitedForOnce) {
  backend_->Sell({Viewer()});
  const auto bridge = backend_->MakeBridge();
  EXPECT_EQ(Price(*bridge), backend_->PriceText(Viewer()));
  ExpectOneWait(0);
  ExpectNoError();
  ExpectCounts({1, 0, 0});
}

TEST_P(StoreScenarios, ALaterPriceIsOnlyCopied) {
  const auto bridge = LoadedBridge();
  backend_->Sell({{Viewer().identifier, "9.99", Viewer().currency, Viewer().price_locale}});
  EXPECT_EQ(Price(*bridge), backend_->PriceText(Viewer()));
  ExpectNoWait();
  ExpectCounts({1, 0, 0});
}

TEST_P(StoreScenarios, ThePriceIsThatOfTheIdentifierWithItsEnding) {
  const StoreProduct bare{"org.example.viewer", "1.99", "USD", "en_US"};
  const StoreProduct other{"org.example.editor.paid", "2.99", "USD", "en_US"};
  backend_->Sell({bare, other, Viewer()});
  const auto bridge = backend_->MakeBridge();
  EXPECT_EQ(Price(*bridge), backend_->PriceText(Viewer()));
}

TEST_P(StoreScenarios, AnUnknownProductLeavesTheBufferAndNothingToBuy) {
  backend_->Sell({Viewer()});
  const auto bridge = backend_->MakeBridge();
  EXPECT_EQ(Price(*bridge, "org.example.unknown"), kUntouched);
  ExpectOneWait(2);
  EXPECT_EQ(Purchase(*bridge), 2);
  EXPECT_EQ(Purchase(*bridge, true), 2);
  ExpectNoWait();
  ExpectNoError();
  ExpectCounts({1, 0, 0});
}

TEST_P(StoreScenarios, AProductThatWasNotFoundIsAskedForAgain) {
  const auto bridge = backend_->MakeBridge();
  EXPECT_EQ(Price(*bridge), kUntouched);
  backend_->Sell({Viewer()});
  EXPECT_EQ(Price(*bridge), backend_->PriceText(Viewer()));
  ExpectOneWait(0);
  ExpectCounts({2, 0, 0});
}

TEST_P(StoreScenarios, ProductsWithoutTheOneAskedForCanBeNeitherShownNorBought) {
  if (Lacks(backend_->AnswerRequestsWith({{"org.example.viewer", "1", "USD", "en_US"},
                                          {"org.example.viewer.paid2", "2", "USD", "en_US"},
                                          {"ORG.EXAMPLE.VIEWER.PAID", "3", "USD", "en_US"}})))
    return;
  const auto bridge = backend_->MakeBridge();
  EXPECT_EQ(Price(*bridge), kUntouched);
  ExpectOneWait(2);
  EXPECT_EQ(Price(*bridge), kUntouched);
  ExpectNoWait();
  EXPECT_EQ(Purchase(*bridge), 2);
  ExpectOneWait(2);
  ExpectPurchaseFailedError();
  ExpectCounts({1, 0, 0});
}

TEST_P(StoreScenarios, TheFirstOfEqualProductsIsShown) {
  const StoreProduct first{Viewer().identifier, "1.99", "USD", "en_US"};
  if (Lacks(backend_->AnswerRequestsWith({{"org.example.other", "7", "USD", "en_US"}, first, Viewer()}))) return;
  const auto bridge = backend_->MakeBridge();
  EXPECT_EQ(Price(*bridge), backend_->PriceText(first));
}

TEST_P(StoreScenarios, AStoreThatDoesNotAnswerTheRequestLeavesTheBuffer) {
  backend_->Sell({Viewer()});
  if (Lacks(backend_->HoldAnswers())) return;
  const auto bridge = backend_->MakeBridge();
  EXPECT_EQ(Price(*bridge), kUntouched);
  ExpectOneWait(2);
  EXPECT_EQ(Purchase(*bridge), 2);
  ExpectNoWait();
}

TEST_P(StoreScenarios, AnAnswerThatComesTooLateServesTheNextQuestion) {
  backend_->Sell({Viewer()});
  if (Lacks(backend_->HoldAnswers())) return;
  const auto bridge = backend_->MakeBridge();
  EXPECT_EQ(Price(*bridge), kUntouched);
  if (Lacks(backend_->ReleaseAnswers())) return;
  while (backend_->Pump()) {
  }
  EXPECT_EQ(Price(*bridge), backend_->PriceText(Viewer()));
  ExpectNoWait();
  ExpectCounts({1, 0, 0});
}

TEST_P(StoreScenarios, AStopLeavesTheBuffer) {
  backend_->Sell({Viewer()});
  const auto bridge = backend_->MakeBridge();
  process_->stopped = true;
  EXPECT_EQ(Price(*bridge), kUntouched);
  ExpectOneWait(1);
  ExpectNoError();
}

TEST_P(StoreScenarios, NothingIsBoughtOrRestoredBeforeThePriceIsKnown) {
  backend_->Sell({Viewer()});
  const auto bridge = backend_->MakeBridge();
  for (const bool restore : {false, true}) {
    EXPECT_EQ(Purchase(*bridge, restore), 2) << restore;
    ExpectNoWait();
    ExpectNoError();
  }
  ExpectCounts({0, 0, 0});
}

TEST_P(StoreScenarios, APurchaseAnswersHowItEnded) {
  int played = 0;
  for (const PurchaseEnd& end : kPurchaseEnds) {
    SCOPED_TRACE(testing::Message() << "state " << static_cast<int>(end.state) << ", error code " << end.error_code);
    SetUp();
    if (backend_->AnswerPurchases(end.state, end.error_code) != nullptr) continue;
    ++played;
    const auto bridge = LoadedBridge();
    EXPECT_EQ(Purchase(*bridge), end.answer);
    ExpectOneWait(0);
    end.is_error ? ExpectPurchaseFailedError() : ExpectNoError();
    ExpectCounts({1, 1, 0});
  }
  EXPECT_GE(played, 3) << "bought, cancelled and failed are what every store can answer";
}

TEST_P(StoreScenarios, ASecondPurchaseAfterASuccessfulOneIsNotPaid) {
  if (Lacks(backend_->AnswerPurchases(TransactionState::kPurchased, 0))) return;
  const auto bridge = LoadedBridge();
  EXPECT_EQ(Purchase(*bridge), 0);
  EXPECT_EQ(Purchase(*bridge), 0);
  ExpectNoWait();
  ExpectCounts({1, 1, 0});
}

TEST_P(StoreScenarios, APurchaseThatWasNotSuccessfulIsTriedAgain) {
  const auto bridge = LoadedBridge();
  if (Lacks(backend_->AnswerPurchases(TransactionState::kFailed, 2))) return;
  EXPECT_EQ(Purchase(*bridge), 1);
  if (Lacks(backend_->AnswerPurchases(TransactionState::kFailed, 0))) return;
  EXPECT_EQ(Purchase(*bridge), 2);
  if (Lacks(backend_->AnswerPurchases(TransactionState::kPurchased, 0))) return;
  EXPECT_EQ(Purchase(*bridge), 0);
  ExpectOneWait(0);
  ExpectCounts({1, 3, 0});
}

TEST_P(StoreScenarios, ARestoreAfterASuccessfulPurchaseStillAsksTheStore) {
  const auto bridge = LoadedBridge();
  if (Lacks(backend_->AnswerPurchases(TransactionState::kPurchased, 0))) return;
  EXPECT_EQ(Purchase(*bridge), 0);
  if (Lacks(backend_->AnswerRestores(RestoreScript::kOwned))) return;
  EXPECT_EQ(Purchase(*bridge, true), 0);
  ExpectOneWait(0);
  ExpectCounts({1, 1, 1});
}

TEST_P(StoreScenarios, ARestoreOfAnOwnedProductIsAPurchase) {
  const auto bridge = LoadedBridge();
  if (Lacks(backend_->AnswerRestores(RestoreScript::kOwned))) return;
  EXPECT_EQ(Purchase(*bridge, true), 0);
  ExpectOneWait(0);
  ExpectNoError();
  EXPECT_EQ(Purchase(*bridge), 0);
  ExpectNoWait();
  ExpectCounts({1, 0, 1});
}

TEST_P(StoreScenarios, ARestoreThatOwnsNothingAnswersOneAndLeavesThePurchaseOpen) {
  const auto bridge = LoadedBridge();
  if (Lacks(backend_->AnswerRestores(RestoreScript::kNothingOwned))) return;
  EXPECT_EQ(Purchase(*bridge, true), 1);
  ExpectOneWait(0);
  ExpectNoError();
  if (Lacks(backend_->AnswerPurchases(TransactionState::kPurchased, 0))) return;
  EXPECT_EQ(Purchase(*bridge), 0);
  ExpectCounts({1, 1, 1});
}

TEST_P(StoreScenarios, ARestoreThatFinishesWithoutTransactionsIsASuccess) {
  const auto bridge = LoadedBridge();
  if (Lacks(backend_->AnswerRestores(RestoreScript::kOnlyFinished))) return;
  EXPECT_EQ(Purchase(*bridge, true), 0);
  ExpectOneWait(0);
}

TEST_P(StoreScenarios, AFirstPurchaseWithoutAnAnswerFails) {
  const auto bridge = LoadedBridge();
  if (Lacks(backend_->HoldAnswers())) return;
  for (const bool restore : {false, true}) {
    EXPECT_EQ(Purchase(*bridge, restore), 2) << restore;
    ExpectOneWait(2);
    ExpectPurchaseFailedError();
  }
  ExpectCounts({1, 1, 1});
}

TEST_P(StoreScenarios, WithoutAnAnswerTheEarlierOutcomeIsToldAgain) {
  const auto bridge = LoadedBridge();
  if (Lacks(backend_->AnswerPurchases(TransactionState::kFailed, 2))) return;
  EXPECT_EQ(Purchase(*bridge), 1);
  if (Lacks(backend_->HoldAnswers())) return;
  EXPECT_EQ(Purchase(*bridge), 1);
  ExpectOneWait(2);
  ExpectNoError();
  EXPECT_EQ(Purchase(*bridge, true), 1);
}

TEST_P(StoreScenarios, AStopLeavesTheOutcomeAndALateAnswerDecidesTheNextCall) {
  if (Lacks(backend_->AnswerPurchases(TransactionState::kPurchased, 0))) return;
  const auto bridge = LoadedBridge();
  process_->stopped = true;
  EXPECT_EQ(Purchase(*bridge), 2);
  ExpectOneWait(1);
  ExpectPurchaseFailedError();
  while (backend_->Pump()) {
  }
  EXPECT_EQ(Purchase(*bridge), 0);
  ExpectNoWait();
  ExpectCounts({1, 1, 0});
}

TEST_P(StoreScenarios, ALateAnswerDoesNotEndTheNextWait) {
  if (Lacks(backend_->AnswerPurchases(TransactionState::kFailed, 2))) return;
  const auto bridge = LoadedBridge();
  process_->stopped = true;
  EXPECT_EQ(Purchase(*bridge), 2);
  while (backend_->Pump()) {
  }
  // The host has not looked at that answer; its next purchase waits for its own.
  process_->stopped = false;
  if (Lacks(backend_->AnswerPurchases(TransactionState::kPurchased, 0))) return;
  EXPECT_EQ(Purchase(*bridge), 0);
  ExpectCounts({1, 2, 0});
}

TEST_P(StoreScenarios, APurchaseInProgressDoesNotEndTheWait) {
  int played = 0;
  for (const TransactionState state : kInProgress) {
    SCOPED_TRACE(static_cast<int>(state));
    SetUp();
    if (backend_->AnswerPurchases(state, 0) != nullptr) continue;
    ++played;
    const auto bridge = LoadedBridge();
    EXPECT_EQ(Purchase(*bridge), 2);
    ExpectOneWait(2);
    ExpectPurchaseFailedError();
  }
  EXPECT_GE(played, 1) << "every store can put a purchase off";
}

TEST_P(StoreScenarios, ABatchThatIsStillInProgressKeepsItsOutcomesAndDoesNotEndTheWait) {
  for (const TransactionState state : kInProgress) {
    SCOPED_TRACE(static_cast<int>(state));
    SetUp();
    const auto bridge = LoadedBridge();
    if (Lacks(backend_->Deliver(
            {{11, TransactionState::kFailed, Viewer().identifier, 2}, {12, state, Viewer().identifier, 0}})))
      return;
    if (Lacks(backend_->HoldAnswers())) return;
    EXPECT_EQ(Purchase(*bridge), 1);
    ExpectOneWait(2);
    ExpectNoError();
  }
}

TEST_P(StoreScenarios, PaymentsAreAllowedOrNot) {
  const auto bridge = backend_->MakeBridge();
  EXPECT_TRUE(bridge->IsAbleToMakePayments(*process_));
  if (Lacks(backend_->AllowPayments(false))) return;
  EXPECT_FALSE(bridge->IsAbleToMakePayments(*process_));
  if (Lacks(backend_->AllowPayments(true))) return;
  EXPECT_TRUE(bridge->IsAbleToMakePayments(*process_));
}

TEST_P(StoreScenarios, AnswersToABridgeThatHasEndedReachNobody) {
  backend_->Sell({Viewer()});
  if (Lacks(backend_->AnswerPurchases(TransactionState::kPurchased, 0))) return;
  process_->stopped = true;
  EXPECT_EQ(Price(*backend_->MakeBridge()), kUntouched);
  while (backend_->Pump()) {
  }
  process_->stopped = false;
  auto bridge = LoadedBridge();
  process_->stopped = true;
  EXPECT_EQ(Purchase(*bridge), 2);
  bridge.reset();
  while (backend_->Pump()) {
  }
  // The store is none the worse for it.
  process_->stopped = false;
  EXPECT_EQ(Price(*LoadedBridge()), backend_->PriceText(Viewer()));
}

TEST_P(StoreScenarios, OneBridgesEndLeavesTheOtherListening) {
  if (Lacks(backend_->AnswerPurchases(TransactionState::kFailed, 2))) return;
  auto first = LoadedBridge();
  const auto second = LoadedBridge();
  first.reset();
  EXPECT_EQ(Purchase(*second), 1);
  ExpectOneWait(0);
}

TEST_P(StoreScenarios, EveryBridgeHearsOfAPurchase) {
  if (Lacks(backend_->AnswerPurchases(TransactionState::kPurchased, 0))) return;
  const auto first = LoadedBridge();
  const auto second = LoadedBridge();
  EXPECT_EQ(Purchase(*first), 0);
  EXPECT_EQ(Purchase(*second), 0);
  ExpectNoWait();
  ExpectCounts({2, 1, 0});
}
