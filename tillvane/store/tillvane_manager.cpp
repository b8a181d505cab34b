#include <tillvane/store/tillvane_manager.h>

#include <cstddef>

#include <tillvane/store/store_observer.h>
#include <tillvane/store/store_request_delegate.h>
#include <tillvane/store/store_rules.h>

struct TillvaneManagerLayout {
  static_assert(offsetof(TillvaneManager, observer_) == 0);
  static_assert(offsetof(TillvaneManager, request_delegate_) == sizeof(void*));
  static_assert(sizeof(TillvaneManager) == 2 * sizeof(void*));
};

TillvaneManager::TillvaneManager(platform::StoreService& store)
    : observer_(std::make_unique<TillvaneStoreObserver>(store)),
      request_delegate_(std::make_unique<TillvaneStoreRequestDelegate>(store)) {
  store.AddTransactionObserver(*observer_);
}

// Members end from the last to the first, which is the order that is promised.
TillvaneManager::~TillvaneManager() = default;

int TillvaneManager::GetPrice(LProcessInterface& process, char* utf8, const char* base) const {
  return store::GetPrice(*request_delegate_, process, utf8, base);
}

int TillvaneManager::PurchaseApplication(LProcessInterface& process, bool restore) {
  return store::PurchaseApplication(*observer_, *request_delegate_, process, restore);
}

bool TillvaneManager::IsAbleToMakePayments(LProcessInterface&) const { return observer_->CanMakePayments(); }
