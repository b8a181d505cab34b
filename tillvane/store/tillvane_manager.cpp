#include <tillvane/store/tillvane_manager.h>

#include <memory>

#include <tillvane/store/store_observer.h>
#include <tillvane/store/store_request_delegate.h>
#include <tillvane/store/store_rules.h>

TillvaneManager::TillvaneManager(platform::StoreService& store) {
  auto observer = std::make_unique<TillvaneStoreObserver>(store);
  auto request_delegate = std::make_unique<TillvaneStoreRequestDelegate>(store);
  store.AddTransactionObserver(*observer);
  observer_ = observer.release();
  request_delegate_ = request_delegate.release();
}

TillvaneManager::~TillvaneManager() {
  delete request_delegate_;
  delete observer_;
}

int TillvaneManager::GetPrice(LProcessInterface& process, char* utf8, const char* base) const {
  return store::GetPrice(*request_delegate_, process, utf8, base);
}

int TillvaneManager::PurchaseApplication(LProcessInterface& process, bool restore) {
  return store::PurchaseApplication(*observer_, *request_delegate_, process, restore);
}

bool TillvaneManager::IsAbleToMakePayments(LProcessInterface&) const { return observer_->CanMakePayments(); }
