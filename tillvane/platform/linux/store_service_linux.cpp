#include <tillvane/platform/linux/store_service_linux.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include <tillvane/platform/linux/money_linux.h>
#include <tillvane/platform/linux/never_destroyed_linux.h>
#include <tillvane/platform/linux/store_catalogue_linux.h>
#include <tillvane/platform/money.h>
#include <tillvane/store/tillvane_manager.h>

namespace platform {

namespace {

/// The code of a payment that this user may not make.
constexpr long kPaymentNotAllowed = 4;

/// One line, whatever an environment variable holds.
void Report(std::string line) {
  std::replace_if(
      line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
  std::fprintf(stderr, "tillvane: %s\n", line.c_str());
}

/// Reads the catalogue and says what is wrong with it. It is read anew for each question: who writes it sees the
/// change.
bool ReadCatalogue(const StoreSettings& settings, StoreCatalogue* catalogue) {
  std::string error;
  if (LoadStoreCatalogue(settings.catalogue, catalogue, &error)) return true;
  Report(error);
  return false;
}

}  // namespace

void LocalStore::StartProductsRequest(const std::string& identifier, ProductsRequestDelegate& delegate) {
  const unsigned int request = ++last_request_;
  requests_[request] = &delegate;
  worker_.Do([this, request, identifier, settings = CurrentStoreSettings()]() -> StoreWorker::Answer {
    return [this, request, offer = ReadOffer(settings, identifier)] { AnswerRequest(request, offer); };
  });
}

LocalStore::Offer LocalStore::ReadOffer(const StoreSettings& settings, const std::string& identifier) {
  StoreCatalogue catalogue;
  if (!ReadCatalogue(settings, &catalogue)) return {};
  const std::string& storefront = settings.storefront.empty() ? catalogue.storefront : settings.storefront;
  const std::string& locale = settings.locale.empty() ? catalogue.locale : settings.locale;
  const std::string currency = CurrencyOfCountry(storefront);
  if (currency.empty()) {
    Report("TILLVANE_STORE_STOREFRONT: no country has the three letters \"" + storefront + "\"");
    return {};
  }
  if (!IsLocaleKnown(locale)) {
    Report("TILLVANE_STORE_LOCALE: no locale is known as \"" + locale + "\"");
    return {};
  }
  Offer offer;
  offer.fails = catalogue.products_request_fails;
  for (const CatalogueProduct& product : catalogue.products) {
    if (product.identifier == identifier) offer.products.push_back({identifier, product.price, currency, locale});
  }
  return offer;
}

LocalStore::Terms LocalStore::ReadTerms(const StoreSettings& settings, const std::string& identifier) {
  StoreCatalogue catalogue;
  if (!ReadCatalogue(settings, &catalogue)) return {};
  Terms terms{false, false, catalogue.purchase_fails, catalogue.ask_to_buy, !catalogue.disable_dialogs};
  for (const CatalogueProduct& product : catalogue.products) {
    if (product.identifier != identifier) continue;
    terms.is_sold = true;
    terms.non_consumable = product.non_consumable;
  }
  return terms;
}

void LocalStore::AnswerRequest(unsigned int request, const Offer& offer) {
  const auto found = requests_.find(request);
  if (found == requests_.end()) return;
  ProductsRequestDelegate* const delegate = found->second;
  requests_.erase(found);
  if (!offer.fails) delegate->ProductsReceived(offer.products);
}

void LocalStore::Withdraw(ProductsRequestDelegate& delegate) {
  std::erase_if(requests_, [&](const auto& one) { return one.second == &delegate; });
}

void LocalStore::AddTransactionObserver(TransactionObserver& observer) {
  observers_.push_back(&observer);
  worker_.DoUnlessEnding([this, folder = CurrentStoreSettings().ledger_folder]() -> StoreWorker::Answer {
    return TellUnfinished(LedgerIn(folder));
  });
}

StoreWorker::Answer LocalStore::TellUnfinished(StoreLedger& ledger) {
  Batch batch;
  owes_unfinished_ = !ledger.TakeUnfinished(&batch);
  if (owes_unfinished_) Report(ledger.Error());
  if (batch.empty()) return nullptr;
  return [this, batch = std::move(batch)] { Deliver(batch); };
}

void LocalStore::Withdraw(TransactionObserver& observer) { std::erase(observers_, &observer); }

void LocalStore::AddPayment(const StoreProduct& product) {
  WithLedger([this, product, settings = CurrentStoreSettings()](StoreLedger& ledger) {
    const Terms terms = ReadTerms(settings, product.identifier);
    StoreTransaction begun;
    if (terms.is_sold && ledger.Begin(product.identifier, terms.non_consumable, &begun)) {
      return StoreWorker::Answer([this, product, terms, begun] { PurchaseBegan(product, terms, begun); });
    }
    if (terms.is_sold) Report(ledger.Error());
    return StoreWorker::Answer([this, product] { PurchaseFailed(product.identifier); });
  });
}

void LocalStore::PurchaseBegan(const StoreProduct& product, const Terms& terms, const StoreTransaction& transaction) {
  Deliver({transaction});
  SettlePurchase(transaction, Decide(product, terms));
}

LocalStore::Decision LocalStore::Decide(const StoreProduct& product, const Terms& terms) {
  if (!ArePaymentsAllowed()) return {TransactionState::kFailed, kPaymentNotAllowed};
  if (terms.asks && ask_ != nullptr) {
    const std::string price = FormatMoney(product.price, product.currency, product.price_locale);
    if (!ask_(product.identifier.c_str(), price.c_str(), ask_data_)) {
      return {TransactionState::kFailed, kPaymentCancelled};
    }
  }
  if (terms.fails) return {TransactionState::kFailed, 0};
  return {terms.is_deferred ? TransactionState::kDeferred : TransactionState::kPurchased, 0};
}

void LocalStore::SettlePurchase(const StoreTransaction& begun, Decision decision) {
  WithLedger([this, begun, decision](StoreLedger& ledger) {
    StoreTransaction settled;
    if (ledger.Settle(begun.id, decision.state, decision.error_code, &settled)) {
      return StoreWorker::Answer([this, settled] { Deliver({settled}); });
    }
    Report(ledger.Error());
    return StoreWorker::Answer([this, product = begun.product] { PurchaseFailed(product); });
  });
}

/// What is not sold, or could not be written down, was not bought. Number 0: there is nothing to finish.
void LocalStore::PurchaseFailed(const std::string& product) {
  Deliver({StoreTransaction{0, TransactionState::kFailed, product, 0}});
}

void LocalStore::FinishTransaction(const StoreTransaction& transaction) {
  if (transaction.id == 0) return;
  WithLedger([id = transaction.id](StoreLedger& ledger) -> StoreWorker::Answer {
    if (!ledger.Finish(id)) Report(ledger.Error());
    return nullptr;
  });
}

void LocalStore::RestoreCompletedTransactions() {
  WithLedger([this](StoreLedger& ledger) -> StoreWorker::Answer {
    Batch batch;
    if (!ledger.Restore(&batch)) Report(ledger.Error());
    return [this, batch = std::move(batch)] { Restored(batch); };
  });
}

void LocalStore::Restored(const Batch& batch) {
  // A restore that finds nothing must not unlock anything.
  if (batch.empty()) return TellObservers([](TransactionObserver& observer) { observer.RestoreFailed(); });
  Deliver(batch);
  TellObservers([](TransactionObserver& observer) { observer.RestoreFinished(); });
}

bool LocalStore::CanMakePayments() { return ArePaymentsAllowed(); }

void LocalStore::SetConfirmation(bool (*ask)(const char* id, const char* price, void* data), void* data) {
  ask_ = ask;
  ask_data_ = data;
}

void LocalStore::DecideDeferred(bool approve) {
  WithLedger([this, approve](StoreLedger& ledger) -> StoreWorker::Answer {
    Batch batch;
    if (!ledger.DecideDeferred(approve, &batch)) Report(ledger.Error());
    return [this, batch = std::move(batch)] { Deliver(batch); };
  });
}

void LocalStore::WithLedger(LedgerWork work) {
  worker_.Do([this, work = std::move(work), folder = CurrentStoreSettings().ledger_folder] {
    StoreLedger& ledger = LedgerIn(folder);
    StoreWorker::Answer answer = work(ledger);
    // The ledger was out of reach when it was asked at the start, and may be back.
    if (!owes_unfinished_ || !ledger.Error().empty()) return answer;
    return StoreWorker::Answer([late = TellUnfinished(ledger), answer = std::move(answer)] {
      if (late) late();
      if (answer) answer();
    });
  });
}

StoreLedger& LocalStore::LedgerIn(const std::string& folder) {
  // A ledger that is open belongs to the process that opened it: a forked one leaves it alone and opens its own.
  if (ledger_ != nullptr && ledger_process_ != getpid()) {
    parents_ledger_ = ledger_.release();
  }
  if (ledger_ == nullptr || ledger_folder_ != folder) {
    ledger_ = std::make_unique<StoreLedger>(folder);
    ledger_folder_ = folder;
    ledger_process_ = getpid();
  }
  return *ledger_;
}

void LocalStore::Close() {
  worker_.Close();
  if (ledger_process_ == getpid()) ledger_.reset();
}

void LocalStore::Deliver(const Batch& batch) {
  if (batch.empty()) return;
  TellObservers([&](TransactionObserver& observer) { observer.UpdatedTransactions(batch); });
}

template <class Message>
void LocalStore::TellObservers(Message message) {
  // An observer may withdraw, itself or another, while it is told.
  for (TransactionObserver* observer : std::vector(observers_)) {
    if (std::find(observers_.begin(), observers_.end(), observer) != observers_.end()) message(*observer);
  }
}

namespace {

LocalStore& TheStore() {
  static NeverDestroyed<LocalStore> store;
  struct Closer {
    ~Closer() { store.Get().Close(); }
  };
  static const Closer closer;
  return store.Get();
}

}  // namespace

bool CanMakePayments() { return TheStore().CanMakePayments(); }

void SetPurchaseConfirmation(bool (*ask)(const char* id, const char* price, void* data), void* data) {
  TheStore().SetConfirmation(ask, data);
}

void DecideDeferredPurchases(bool approve) { TheStore().DecideDeferred(approve); }

}  // namespace platform

// A bridge of nobody's choosing listens to this store.
TillvaneManager::TillvaneManager() : TillvaneManager(platform::TheStore()) {}
