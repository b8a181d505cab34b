#include <tillvane/store/store_observer.h>

#include <cstddef>

#include <tillvane/store/store_rules.h>

/// A batch as the rules speak of it.
class TillvaneStoreObserver::Batch {
 public:
  Batch(TillvaneStoreObserver& observer, const std::vector<platform::StoreTransaction>& transactions)
      : observer_(observer), transactions_(transactions) {}

  std::size_t Count() const { return transactions_.size(); }
  platform::TransactionState State(std::size_t i) const { return transactions_[i].state; }
  void Complete(std::size_t) { observer_.result = store::kBought; }
  void Fail(std::size_t i) { observer_.result = store::OutcomeOfFailure(transactions_[i].error_code); }
  void Restore(std::size_t) { observer_.result = store::kBought; }
  void Finish(std::size_t i) { observer_.store_.FinishTransaction(transactions_[i]); }
  void Signal() { observer_.soDone.Signal(); }

 private:
  TillvaneStoreObserver& observer_;
  const std::vector<platform::StoreTransaction>& transactions_;
};

TillvaneStoreObserver::TillvaneStoreObserver(platform::StoreService& store) : result(store::kFailed), store_(store) {}

TillvaneStoreObserver::~TillvaneStoreObserver() { store_.Withdraw(*this); }

void TillvaneStoreObserver::RestoreCompletedTransactions() { store_.RestoreCompletedTransactions(); }

void TillvaneStoreObserver::Process(LProcessInterface* process) { store::WaitForOutcome(soDone, *process); }

bool TillvaneStoreObserver::CanMakePayments() const { return store_.CanMakePayments(); }

void TillvaneStoreObserver::UpdatedTransactions(const std::vector<platform::StoreTransaction>& transactions) {
  store::HandleTransactions(Batch(*this, transactions));
}

void TillvaneStoreObserver::RestoreFinished() { End(store::kBought); }

void TillvaneStoreObserver::RestoreFailed() { End(store::kRestoreFailed); }

void TillvaneStoreObserver::End(std::int32_t outcome) {
  result = outcome;
  soDone.Signal();
}
