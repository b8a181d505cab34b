#include <tillvane/platform/linux/store_service_linux.h>

#include <unistd.h>

#include <functional>

#include <gtest/gtest.h>

#include <tests/support/local_store_fixture.h>
#include <tillvane/platform/money.h>
#include <tillvane/store/store_scenarios.h>
#include <tillvane/store/tillvane_manager.h>

namespace {

using platform::LocalStore;
using platform::StoreLedger;
using platform::StoreProduct;
using platform::StoreTransaction;
using platform::TransactionState;
using support::EnvironmentScope;
using support::LocalStoreFixture;
using support::PumpAll;
using support::PumpOnce;

/// The local store, and how often it was asked.
class CountingStore final : public platform::StoreService {
 public:
  StoreCounts counts{0, 0, 0};
  LocalStore store;

  void StartProductsRequest(const std::string& identifier, platform::ProductsRequestDelegate& delegate) override {
    ++counts.requests;
    store.StartProductsRequest(identifier, delegate);
  }
  void Withdraw(platform::ProductsRequestDelegate& delegate) override { store.Withdraw(delegate); }
  void AddTransactionObserver(platform::TransactionObserver& observer) override {
    store.AddTransactionObserver(observer);
  }
  void Withdraw(platform::TransactionObserver& observer) override { store.Withdraw(observer); }
  void AddPayment(const StoreProduct& product) override {
    ++counts.payments;
    store.AddPayment(product);
  }
  void FinishTransaction(const StoreTransaction& transaction) override { store.FinishTransaction(transaction); }
  void RestoreCompletedTransactions() override {
    ++counts.restores;
    store.RestoreCompletedTransactions();
  }
  bool CanMakePayments() override { return store.CanMakePayments(); }
};

/// The scenarios' backend on the local store: a catalogue and a ledger in a folder of their own.
class LocalBackend final : public StoreBackend {
 public:
  std::unique_ptr<StoreBridge> MakeBridge() override {
    return std::make_unique<StoreBridgeOf<TillvaneManager>>(store_);
  }
  bool Pump() override { return PumpOnce(store_.store); }
  std::optional<StoreCounts> Counts() override { return store_.counts; }
  std::string PriceText(const StoreProduct& product) override {
    return platform::FormatMoney(product.price, product.currency, product.price_locale);
  }
  void Sell(const Products& products) override {
    products_ = products;
    Write();
  }
  Unable AnswerPurchases(TransactionState state, long error_code) override {
    switch (state) {
      case TransactionState::kRestored:
        return "a purchase is not answered with a restore here";
      case TransactionState::kPurchasing:
        return "a purchase always gets beyond its beginning here";
      case TransactionState::kFailed:
        if (error_code != 0 && error_code != platform::kPaymentCancelled) return "purchases do not fail like this here";
        break;
      case TransactionState::kPurchased:
      case TransactionState::kDeferred:
        break;
    }
    approves_ = state != TransactionState::kFailed || error_code != platform::kPaymentCancelled;
    store_.store.SetConfirmation([](const char*, const char*, void* approves) { return *static_cast<bool*>(approves); },
                                 &approves_);
    settings_ = state == TransactionState::kFailed && approves_ ? R"("_failTransactionsEnabled":true)"
                : state == TransactionState::kDeferred          ? R"("_askToBuyEnabled":true)"
                                                                : "";
    Write();
    return nullptr;
  }
  Unable AnswerRestores(RestoreScript script) override {
    if (script == RestoreScript::kOnlyFinished) return "a restore without anything to restore fails here";
    if (script == RestoreScript::kOwned) Own("org.example.viewer.paid");
    return nullptr;
  }
  Unable AllowPayments(bool allowed) override {
    files_.Environment().Set("TILLVANE_STORE_PAYMENTS", allowed ? "1" : "0");
    return nullptr;
  }

 private:
  void Write() { files_.WriteCatalogue(products_, settings_); }
  void Own(const std::string& product) {
    StoreLedger ledger(files_.LedgerFolder());
    StoreTransaction bought;
    ASSERT_TRUE(ledger.Begin(product, true, &bought)) << ledger.Error();
    ASSERT_TRUE(ledger.Settle(bought.id, TransactionState::kPurchased, 0, &bought)) << ledger.Error();
    ASSERT_TRUE(ledger.Finish(bought.id)) << ledger.Error();
  }

  LocalStoreFixture files_;
  Products products_;
  std::string settings_;
  bool approves_ = true;
  CountingStore store_;
};

std::unique_ptr<StoreBackend> MakeLocalBackend() { return std::make_unique<LocalBackend>(); }

INSTANTIATE_TEST_SUITE_P(LocalStore, StoreScenarios, testing::Values(&MakeLocalBackend),
                         [](const auto&) { return "Any"; });

/// Notes what it is told, in words, and finishes final transactions unless it is told not to.
class Listener final : public platform::TransactionObserver, public platform::ProductsRequestDelegate {
 public:
  explicit Listener(LocalStore& store) : store_(store) {}
  ~Listener() {
    store_.Withdraw(static_cast<platform::TransactionObserver&>(*this));
    store_.Withdraw(static_cast<platform::ProductsRequestDelegate&>(*this));
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  bool finishes = true;
  std::vector<std::string> heard;
  std::vector<StoreProduct> products;
  std::function<void()> on_update;

  void UpdatedTransactions(const std::vector<StoreTransaction>& transactions) override {
    static constexpr const char* kNames[] = {"purchasing", "purchased", "failed", "restored", "deferred"};
    std::string line;
    for (const auto& one : transactions) {
      line += (line.empty() ? "" : "+") + std::string(kNames[static_cast<int>(one.state)]);
      if (one.state == TransactionState::kFailed) line += "(" + std::to_string(one.error_code) + ")";
      const bool is_final = one.state != TransactionState::kPurchasing && one.state != TransactionState::kDeferred;
      if (finishes && is_final) store_.FinishTransaction(one);
    }
    heard.push_back(line);
    if (on_update) on_update();
  }
  void RestoreFinished() override { heard.emplace_back("restore finished"); }
  void RestoreFailed() override { heard.emplace_back("restore failed"); }
  void ProductsReceived(const std::vector<StoreProduct>& received) override {
    heard.emplace_back("products " + std::to_string(received.size()));
    products = received;
  }

 private:
  LocalStore& store_;
};

using Heard = std::vector<std::string>;

class LocalStoreTest : public testing::Test {
 protected:
  static inline const StoreProduct kViewer{"org.example.viewer.paid", "4.99", "USD", "en_US"};

  void Sell(const std::string& settings = "") { files_.WriteCatalogue({kViewer}, settings); }

  /// What a fresh store says to one listener about what `ask` asks of it.
  Heard Hear(const std::function<void(LocalStore&, Listener&)>& ask, bool finishes = true) {
    LocalStore store;
    Listener listener(store);
    listener.finishes = finishes;
    store.AddTransactionObserver(listener);
    PumpAll(store);
    ask(store, listener);
    PumpAll(store);
    products_ = listener.products;
    return listener.heard;
  }

  static void Load(LocalStore& store, Listener& listener) {
    store.StartProductsRequest(kViewer.identifier, listener);
    PumpAll(store);
  }
  static void Buy(LocalStore& store, Listener& listener) {
    Load(store, listener);
    store.AddPayment(kViewer);
    PumpAll(store);
  }
  Heard HearPurchase() { return Hear(Buy); }

  LocalStoreFixture files_;
  std::vector<StoreProduct> products_;
};

TEST_F(LocalStoreTest, NothingIsAnsweredFromInsideTheCall) {
  Sell();
  LocalStore store;
  Listener listener(store);
  store.AddTransactionObserver(listener);
  store.StartProductsRequest(kViewer.identifier, listener);
  store.AddPayment(kViewer);
  store.RestoreCompletedTransactions();
  // Long enough for the worker to be done; only the main loop may speak.
  usleep(50000);
  EXPECT_EQ(listener.heard, Heard());
  PumpAll(store);
  EXPECT_FALSE(listener.heard.empty());
}

TEST_F(LocalStoreTest, APurchaseIsToldFromItsBeginning) {
  Sell();
  EXPECT_EQ(HearPurchase(), (Heard{"products 1", "purchasing", "purchased"}));
}

TEST_F(LocalStoreTest, TheSettingsOfTheCataloguePurchasesFollow) {
  const struct {
    const char* settings;
    Heard heard;
  } cases[] = {
      {R"("_failTransactionsEnabled":true)", {"products 1", "purchasing", "failed(0)"}},
      {R"("_storeKitErrors":[{"name":"Purchase","enabled":true}])", {"products 1", "purchasing", "failed(0)"}},
      {R"("_storeKitErrors":[{"name":"Purchase","enabled":false}])", {"products 1", "purchasing", "purchased"}},
      {R"("_askToBuyEnabled":true)", {"products 1", "purchasing", "deferred"}},
      // A request that fails is not answered, with or without products.
      {R"("_storeKitErrors":[{"name":"Load Products","enabled":true}])", {"purchasing", "purchased"}},
  };
  for (const auto& one : cases) {
    Sell(one.settings);
    EXPECT_EQ(HearPurchase(), one.heard) << one.settings;
  }
}

TEST_F(LocalStoreTest, PaymentsThatAreNotAllowedFail) {
  Sell();
  files_.Environment().Set("TILLVANE_STORE_PAYMENTS", "0");
  LocalStore store;
  EXPECT_FALSE(store.CanMakePayments());
  EXPECT_EQ(HearPurchase(), (Heard{"products 1", "purchasing", "failed(4)"}));
}

TEST_F(LocalStoreTest, TheHostIsAskedWithIdentifierAndPrice) {
  struct Question {
    std::string text;
    bool answer = true;
  } question;
  const auto ask = [](const char* id, const char* price, void* data) {
    auto* asked = static_cast<Question*>(data);
    asked->text = std::string(id) + " " + price;
    return asked->answer;
  };
  Sell();
  const auto buy = [&](LocalStore& store, Listener& listener) {
    store.SetConfirmation(ask, &question);
    Buy(store, listener);
  };
  EXPECT_EQ(Hear(buy), (Heard{"products 1", "purchasing", "purchased"}));
  EXPECT_EQ(question.text, "org.example.viewer.paid $4.99");
  question.answer = false;
  EXPECT_EQ(Hear(buy), (Heard{"products 1", "purchasing", "failed(2)"}));
  Sell(R"("_disableDialogs":true)");
  question.text.clear();
  EXPECT_EQ(Hear(buy), (Heard{"products 1", "purchasing", "purchased"}));
  EXPECT_EQ(question.text, "");
}

TEST_F(LocalStoreTest, ADeferredPurchaseWaitsForItsDecision) {
  Sell(R"("_askToBuyEnabled":true)");
  for (const bool approve : {true, false}) {
    EXPECT_EQ(HearPurchase(), (Heard{"products 1", "purchasing", "deferred"}));
    // Another process may decide, or this one at its next start.
    EXPECT_EQ(Hear([&](LocalStore& store, Listener&) { store.DecideDeferred(approve); }),
              (Heard{approve ? "purchased" : "failed(2)"}));
    EXPECT_EQ(Hear([&](LocalStore& store, Listener&) { store.DecideDeferred(approve); }), Heard());
  }
}

TEST_F(LocalStoreTest, WhatWasNotFinishedIsToldAtTheNextStartUntilItIs) {
  Sell();
  EXPECT_EQ(Hear(Buy, false), (Heard{"products 1", "purchasing", "purchased"}));
  const auto nothing = [](LocalStore&, Listener&) {};
  EXPECT_EQ(Hear(nothing, false), Heard{"purchased"});
  EXPECT_EQ(Hear(nothing, true), Heard{"purchased"});
  EXPECT_EQ(Hear(nothing, true), Heard());
}

TEST_F(LocalStoreTest, WithoutAListenerAPurchaseWaitsForOne) {
  Sell();
  LocalStore store;
  store.AddPayment(kViewer);
  PumpAll(store);
  Listener listener(store);
  store.AddTransactionObserver(listener);
  PumpAll(store);
  EXPECT_EQ(listener.heard, Heard{"purchased"});
}

TEST_F(LocalStoreTest, ARestoreAnswersOwnedProductsOrFails) {
  Sell();
  const auto restore = [](LocalStore& store, Listener&) { store.RestoreCompletedTransactions(); };
  EXPECT_EQ(Hear(restore), Heard{"restore failed"});
  HearPurchase();
  EXPECT_EQ(Hear(restore), (Heard{"restored", "restore finished"}));
}

TEST_F(LocalStoreTest, EveryListenerIsToldAndOneThatWithdrewIsNot) {
  Sell();
  LocalStore store;
  Listener first(store);
  auto second = std::make_unique<Listener>(store);
  Listener third(store);
  store.AddTransactionObserver(first);
  store.AddTransactionObserver(*second);
  store.AddTransactionObserver(third);
  store.StartProductsRequest(kViewer.identifier, *second);
  // The second ends while the first is told.
  first.on_update = [&] { second.reset(); };
  store.AddPayment(kViewer);
  PumpAll(store);
  EXPECT_EQ(first.heard, (Heard{"purchasing", "purchased"}));
  EXPECT_EQ(third.heard, (Heard{"purchasing", "purchased"}));
}

TEST_F(LocalStoreTest, WhatIsSaidDuringTheQuestionComesInItsOrder) {
  Sell();
  LocalStore store;
  Listener listener(store);
  store.AddTransactionObserver(listener);
  Load(store, listener);
  // A host's dialog runs a loop, in which the rest of the host goes on.
  store.SetConfirmation(
      [](const char*, const char*, void* data) {
        auto& inner = *static_cast<LocalStore*>(data);
        inner.SetConfirmation(nullptr, nullptr);
        inner.RestoreCompletedTransactions();
        inner.AddPayment(kViewer);
        PumpAll(inner);
        return true;
      },
      &store);
  store.AddPayment(kViewer);
  PumpAll(store);
  EXPECT_EQ(listener.heard,
            (Heard{"products 1", "purchasing", "restore failed", "purchasing", "purchased", "purchased"}));
}

TEST_F(LocalStoreTest, StorefrontAndLocaleOfTheEnvironmentGoFirst) {
  Sell(R"("_storefront":"JPN","_locale":"ja_JP")");
  Hear(Load);
  ASSERT_EQ(products_.size(), 1U);
  EXPECT_EQ(products_[0].currency, "JPY");
  EXPECT_EQ(products_[0].price_locale, "ja_JP");
  files_.Environment().Set("TILLVANE_STORE_STOREFRONT", "DEU");
  files_.Environment().Set("TILLVANE_STORE_LOCALE", "de_DE");
  Hear(Load);
  ASSERT_EQ(products_.size(), 1U);
  EXPECT_EQ(products_[0].currency, "EUR");
  EXPECT_EQ(products_[0].price_locale, "de_DE");
  EXPECT_EQ(products_[0].price, "4.99");
}

TEST_F(LocalStoreTest, WhatCannotBeReadIsOneLineAndAStoreWithoutProducts) {
  const struct {
    const char* variable;
    std::string value;
    const char* line;
  } cases[] = {
      {"TILLVANE_STORE_CATALOG", files_.Folder().File("absent"), "absent"},
      {"TILLVANE_STORE_CATALOG", files_.Folder().Path(), files_.Folder().Path().c_str()},
      {"TILLVANE_STORE_STOREFRONT", "XQX", "XQX"},
      {"TILLVANE_STORE_LOCALE", "xq_XQ", "xq_XQ"},
  };
  for (const auto& one : cases) {
    Sell();
    EnvironmentScope changed;
    changed.Set(one.variable, one.value);
    testing::internal::CaptureStderr();
    EXPECT_EQ(Hear(Load), Heard{"products 0"}) << one.value;
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_NE(said.find(one.line), std::string::npos) << said;
    EXPECT_EQ(said.find("tillvane: "), 0U) << said;
    EXPECT_EQ(said.find('\n'), said.size() - 1) << said;
  }
}

TEST_F(LocalStoreTest, ALedgerThatCannotBeUsedFailsPurchasesAndRestores) {
  Sell();
  const std::string in_the_way = files_.Folder().Write("file", "not a folder");
  files_.Environment().Set("TILLVANE_STORE_LEDGER", in_the_way);
  testing::internal::CaptureStderr();
  EXPECT_EQ(HearPurchase(), (Heard{"products 1", "failed(0)"}));
  EXPECT_EQ(Hear([](LocalStore& store, Listener&) { store.RestoreCompletedTransactions(); }), Heard{"restore failed"});
  EXPECT_NE(testing::internal::GetCapturedStderr().find(in_the_way), std::string::npos);
}

TEST_F(LocalStoreTest, EndsWithWorkLeftAndKeepsIt) {
  Sell();
  {
    LocalStore store;
    store.AddPayment(kViewer);
    PumpAll(store);
    // Nobody turns the loop any more, and the last step is still written.
    store.RestoreCompletedTransactions();
  }
  EXPECT_EQ(Hear([](LocalStore&, Listener&) {}), Heard{"purchased+restored"});
}

}  // namespace
