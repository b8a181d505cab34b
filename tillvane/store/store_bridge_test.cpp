#include <fcntl.h>

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/platform/store_service.h>
#include <tillvane/store/TillvaneStore.h>
#include <tillvane/store/scripted_backend.h>
#include <tillvane/store/store_rules.h>
#include <tillvane/store/store_scenarios.h>
#include <tillvane/store/tillvane_manager.h>

namespace {

using platform::StoreProduct;
using platform::TransactionState;
using Lines = std::vector<std::string>;

constexpr char kBase[] = "org.example.viewer";
const StoreProduct kViewer{"org.example.viewer.paid", "4.99", "USD", "en_US"};
const StoreProduct kEditor{"org.example.editor.paid", "9.99", "USD", "en_US"};

std::unique_ptr<StoreBackend> MakeScriptedBackend() { return std::make_unique<ScriptedBackend>(); }

INSTANTIATE_TEST_SUITE_P(ScriptedStore, StoreScenarios, testing::Values(&MakeScriptedBackend),
                         [](const auto&) { return "Any"; });

class StoreBridgeTest : public testing::Test {
 protected:
  ScriptedBackend backend_;
  ScriptedStore& store_ = backend_.Store();
  PumpingProcess process_{backend_};
};

/// A host whose waits say what they like: what the store does meanwhile, and how they end.
class FreeProcess final : public LProcessInterface {
 public:
  std::function<int(LSignalObjectRef)> wait = [](LSignalObjectRef) { return 2; };
  Lines errors;

  bool IsToStop() override { return false; }
  bool ProcessWait(unsigned int) override { return false; }
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int) override { return wait(signal); }
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, unsigned int) override { return 2; }
  void SetError(const char* text) override { errors.emplace_back(text); }
};

std::string PriceOf(const TillvaneManager& manager, LProcessInterface& process, const char* base = kBase) {
  std::array<char, 64> buffer{"untouched"};
  EXPECT_EQ(manager.GetPrice(process, buffer.data(), base), 1);
  return buffer.data();
}

int CountDescriptors() {
  int count = 0;
  for (int descriptor = 0; descriptor < 1024; ++descriptor) count += fcntl(descriptor, F_GETFD) != -1;
  return count;
}

TEST(StoreRulesTest, AnOutcomeIsToldToTheHost) {
  const struct {
    int outcome;
    int answer;
    Lines errors;
  } cases[] = {{0, 0, {}}, {1, 1, {}}, {2, 1, {}}, {3, 2, {"Purchase failed for unknown reasons"}}};
  for (const auto& one : cases) {
    FreeProcess process;
    EXPECT_EQ(store::AnswerOf(one.outcome, process), one.answer) << one.outcome;
    EXPECT_EQ(process.errors, one.errors) << one.outcome;
  }
}

TEST_F(StoreBridgeTest, AManagerListensFromItsBeginningToItsEnd) {
  {
    const TillvaneManager manager(store_);
    EXPECT_EQ(store_.log, Lines{"add observer"});
  }
  EXPECT_EQ(store_.log, (Lines{"add observer", "withdraw delegate", "withdraw observer"}));
}

TEST_F(StoreBridgeTest, AnotherBaseMattersOnlyUntilTheProductIsLoaded) {
  backend_.Sell({kViewer, kEditor});
  const TillvaneManager manager(store_);
  EXPECT_EQ(PriceOf(manager, process_, "org.example.unknown"), "untouched");
  EXPECT_EQ(PriceOf(manager, process_), "$4.99");
  EXPECT_EQ(PriceOf(manager, process_, "org.example.editor"), "$4.99");
  EXPECT_EQ(store_.Count("request"), 2);
}

TEST_F(StoreBridgeTest, AWaitBeginsAfterThePaymentAndUnsignalled) {
  backend_.Sell({kViewer});
  TillvaneManager manager(store_);
  PriceOf(manager, process_);
  store_.TellObservers(ScriptedStore::TellRestoreFailed());
  FreeProcess process;
  int waits = 0;
  process.wait = [&](LSignalObjectRef signal) {
    ++waits;
    EXPECT_FALSE(signal.IsSignaled());
    EXPECT_EQ(store_.Count("payment"), 1);
    EXPECT_EQ(store_.Count("restore"), waits - 1);
    return 2;
  };
  EXPECT_EQ(manager.PurchaseApplication(process, false), 1);
  EXPECT_EQ(manager.PurchaseApplication(process, true), 1);
  EXPECT_EQ(waits, 2);
}

TEST_F(StoreBridgeTest, HowAWaitEndsDoesNotMatter) {
  for (const int ending : {0, 1, 2, 7}) {
    SCOPED_TRACE(ending);
    backend_.Sell({kViewer});
    backend_.AnswerPurchases(TransactionState::kFailed, 2);
    TillvaneManager manager(store_);
    FreeProcess silent;
    silent.wait = [&](LSignalObjectRef) { return ending; };
    EXPECT_EQ(PriceOf(manager, silent), "untouched");
    store_.PumpAll();
    EXPECT_EQ(manager.PurchaseApplication(silent, false), 2);
    EXPECT_EQ(silent.errors, Lines{"Purchase failed for unknown reasons"});
    FreeProcess pumping;
    pumping.wait = [&](LSignalObjectRef) { return store_.PumpAll(), ending; };
    EXPECT_EQ(manager.PurchaseApplication(pumping, false), 1);
    EXPECT_EQ(pumping.errors, Lines());
  }
}

TEST_F(StoreBridgeTest, WithoutAnAnswerTheOutcomeBeforeIsTold) {
  const struct {
    const char* before;
    ScriptedStore::Telling telling;
    bool restore;
    int answer;
    std::size_t errors;
    std::size_t waits;
  } cases[] = {
      {"bought", ScriptedStore::TellRestoreFinished(), false, 0, 0, 0},
      {"bought", ScriptedStore::TellRestoreFinished(), true, 0, 0, 1},
      {"cancelled", ScriptedStore::Tell({{1, TransactionState::kFailed, "", 2}}), false, 1, 0, 1},
      {"cancelled", ScriptedStore::Tell({{1, TransactionState::kFailed, "", 2}}), true, 1, 0, 1},
      {"restore failed", ScriptedStore::TellRestoreFailed(), false, 1, 0, 1},
      {"restore failed", ScriptedStore::TellRestoreFailed(), true, 1, 0, 1},
      {"failed", ScriptedStore::Tell({{1, TransactionState::kFailed, "", 0}}), false, 2, 1, 1},
      {"failed", ScriptedStore::Tell({{1, TransactionState::kFailed, "", 0}}), true, 2, 1, 1},
  };
  backend_.Sell({kViewer});
  store_.on_payment.clear();
  for (const auto& one : cases) {
    SCOPED_TRACE(testing::Message() << one.before << (one.restore ? ", restore" : ", purchase"));
    TillvaneManager manager(store_);
    PriceOf(manager, process_);
    store_.TellObservers(one.telling);
    PumpingProcess process(backend_);
    EXPECT_EQ(manager.PurchaseApplication(process, one.restore), one.answer);
    EXPECT_EQ(process.errors.size(), one.errors);
    EXPECT_EQ(process.waits, std::vector(one.waits, 60000u));
  }
}

TEST_F(StoreBridgeTest, ARestoreThatFailsReopensThePurchase) {
  backend_.Sell({kViewer});
  TillvaneManager manager(store_);
  PriceOf(manager, process_);
  EXPECT_EQ(manager.PurchaseApplication(process_, false), 0);
  backend_.AnswerRestores(RestoreScript::kNothingOwned);
  EXPECT_EQ(manager.PurchaseApplication(process_, true), 1);
  EXPECT_EQ(manager.PurchaseApplication(process_, false), 0);
  EXPECT_EQ(store_.Count("payment"), 2);
}

TEST_F(StoreBridgeTest, ManagersKeepTheirOwnProducts) {
  backend_.Sell({kViewer, kEditor});
  const TillvaneManager viewer(store_);
  const TillvaneManager editor(store_);
  EXPECT_EQ(PriceOf(viewer, process_), "$4.99");
  EXPECT_EQ(PriceOf(editor, process_, "org.example.editor"), "$9.99");
  EXPECT_EQ(PriceOf(viewer, process_), "$4.99");
}

TEST_F(StoreBridgeTest, ARequestMayBeAskedForWithinTheWaitOfAnother) {
  backend_.Sell({kViewer});
  const TillvaneManager manager(store_);
  FreeProcess outer;
  outer.wait = [&](LSignalObjectRef) {
    EXPECT_EQ(PriceOf(manager, process_), "$4.99");
    return 2;
  };
  EXPECT_EQ(PriceOf(manager, outer), "$4.99");
}

TEST_F(StoreBridgeTest, AManagersEndWithdrawsFromEverythingUnderWay) {
  backend_.Sell({kViewer});
  backend_.AnswerRestores(RestoreScript::kOwned);
  auto loaded = std::make_unique<TillvaneManager>(store_);
  PriceOf(*loaded, process_);
  auto asking = std::make_unique<TillvaneManager>(store_);
  store_.holds = true;
  PriceOf(*asking, process_);
  EXPECT_EQ(loaded->PurchaseApplication(process_, false), 2);
  EXPECT_EQ(loaded->PurchaseApplication(process_, true), 2);
  EXPECT_EQ(store_.CountRequests(), 1u);
  EXPECT_EQ(store_.CountObservers(), 2u);
  asking.reset();
  EXPECT_EQ(store_.CountRequests(), 0u);
  EXPECT_EQ(store_.CountObservers(), 1u);
  loaded.reset();
  EXPECT_EQ(store_.CountObservers(), 0u);
  store_.Release();
  store_.PumpAll();
  EXPECT_EQ(store_.Count("finish"), 0) << "what nobody has heard of stays unfinished";
}

TEST_F(StoreBridgeTest, AManagersEndClosesItsPipes) {
  backend_.Sell({kViewer});
  const int before = CountDescriptors();
  {
    TillvaneManager manager(store_);
    PriceOf(manager, process_);
    EXPECT_EQ(manager.PurchaseApplication(process_, false), 0);
    EXPECT_EQ(CountDescriptors(), before + 4);
  }
  EXPECT_EQ(CountDescriptors(), before);
}

TEST_F(StoreBridgeTest, AManagerAsksTheStoreAboutPaymentsEachTime) {
  const TillvaneManager manager(store_);
  for (const bool allowed : {true, false, true}) {
    store_.payments_allowed = allowed;
    EXPECT_EQ(manager.IsAbleToMakePayments(process_), allowed);
  }
  EXPECT_EQ(store_.Count("ask"), 3);
  EXPECT_EQ(process_.waits, std::vector<unsigned int>());
}

TEST_F(StoreBridgeTest, NoBridgeIsNoCrash) {
  TillvaneDestroy(nullptr);
  std::array<char, 16> buffer{"untouched"};
  EXPECT_EQ(TillvaneGetPrice(nullptr, process_, buffer.data(), kBase), 1);
  EXPECT_STREQ(buffer.data(), "untouched");
  EXPECT_EQ(TillvanePurchaseApplication(nullptr, process_, false), 2);
  EXPECT_EQ(TillvanePurchaseApplication(nullptr, process_, true), 2);
  EXPECT_EQ(process_.waits, std::vector<unsigned int>());
  EXPECT_EQ(process_.errors, Lines());
  EXPECT_EQ(TillvaneIsAbleToMakePayments(nullptr, process_), platform::CanMakePayments());
}

TEST_F(StoreBridgeTest, ANullBufferIsNotWrittenTo) {
  backend_.Sell({kViewer});
  const TillvaneManager manager(store_);
  EXPECT_EQ(manager.GetPrice(process_, nullptr, kBase), 1);
  EXPECT_EQ(PriceOf(manager, process_), "$4.99");
}

}  // namespace
