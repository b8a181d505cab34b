#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <tillvane/platform/linux/store_ledger_linux.h>
#include <tillvane/platform/linux/store_settings_linux.h>
#include <tillvane/platform/linux/store_worker_linux.h>
#include <tillvane/platform/store_service.h>

namespace platform {

/// The store of a system without one: a catalogue file says what is sold, a ledger remembers who bought.
///
/// Main thread only; files are read and written on the worker's thread. What goes wrong is one line on standard error.
class LocalStore : public StoreService {
 public:
  void StartProductsRequest(const std::string& identifier, ProductsRequestDelegate& delegate) override;
  void Withdraw(ProductsRequestDelegate& delegate) override;
  void AddTransactionObserver(TransactionObserver& observer) override;
  void Withdraw(TransactionObserver& observer) override;
  void AddPayment(const StoreProduct& product) override;
  void FinishTransaction(const StoreTransaction& transaction) override;
  void RestoreCompletedTransactions() override;
  bool CanMakePayments() override;

  void SetConfirmation(bool (*ask)(const char* id, const char* price, void* data), void* data);
  void DecideDeferred(bool approve);

  /// At the library's end: finishes what is under way. A host's own last functions may still withdraw.
  void Close();

  /// Has everything that was asked been done, and everything that is to be said been said?
  bool IsIdle() { return worker_.IsIdle(); }

 private:
  using LedgerWork = std::function<StoreWorker::Answer(StoreLedger&)>;
  using Batch = std::vector<StoreTransaction>;

  /// A products request's answer.
  struct Offer {
    std::vector<StoreProduct> products;
    bool fails = false;  ///< a request that fails is never answered
  };
  /// What the catalogue says of a purchase.
  struct Terms {
    bool is_sold = false;
    bool non_consumable = false;
    bool fails = false;
    bool is_deferred = false;
    bool asks = false;
  };
  struct Decision {
    TransactionState state;
    long error_code;
  };

  static Offer ReadOffer(const StoreSettings& settings, const std::string& identifier);
  static Terms ReadTerms(const StoreSettings& settings, const std::string& identifier);

  void WithLedger(LedgerWork work);
  StoreLedger& LedgerIn(const std::string& folder);
  StoreWorker::Answer TellUnfinished(StoreLedger& ledger);
  void AnswerRequest(unsigned int request, const Offer& offer);
  void PurchaseBegan(const StoreProduct& product, const Terms& terms, const StoreTransaction& transaction);
  Decision Decide(const StoreProduct& product, const Terms& terms);
  void SettlePurchase(const StoreTransaction& begun, Decision decision);
  void PurchaseFailed(const std::string& product);
  void Restored(const Batch& batch);
  void Deliver(const Batch& batch);
  template <class Message>
  void TellObservers(Message message);

  std::vector<TransactionObserver*> observers_;
  std::map<unsigned int, ProductsRequestDelegate*> requests_;
  unsigned int last_request_ = 0;
  bool (*ask_)(const char*, const char*, void*) = nullptr;
  void* ask_data_ = nullptr;
  // The worker's thread only; it ends before them.
  std::unique_ptr<StoreLedger> ledger_;
  std::string ledger_folder_;
  int ledger_process_ = 0;
  const StoreLedger* parents_ledger_ = nullptr;  ///< what a fork left behind; kept so that it does not count as leaked
  bool owes_unfinished_ = false;                 ///< the ledger could not say what earlier processes left
  StoreWorker worker_;
};

}  // namespace platform
