#include <tillvane/store/tillvane_manager.h>

#include <cstdint>

#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/store_observer_mac.h>
#include <tillvane/platform/mac/store_request_delegate_mac.h>
#include <tillvane/store/store_rules.h>

namespace {

/// The two listeners as the rules speak of them.
struct Observer {
  TillvaneStoreObserver* object;

  std::int32_t GetResult() const { return [object GetResult]; }
  void RestoreCompletedTransactions() { [object restoreCompletedTransactions]; }
  void Process(LProcessInterface* process) { [object Process:process]; }
};

struct Delegate {
  TillvaneStoreRequestDelegate* object;

  bool IsProductInfoAvailable() const { return [object IsProductInfoAvailable] != NO; }
  void GetProductInfo(const char* base, LProcessInterface* process) {
    [object GetProductInfo:[NSString stringWithUTF8String:base != nullptr ? base : ""] usingInterface:process];
  }
  void GetPrice(char* text) const { [object GetPrice:text]; }
  void Purchase() { [object Purchase]; }
};

}  // namespace

TillvaneManager::TillvaneManager()
    : observer_([[TillvaneStoreObserver alloc] init]), request_delegate_([[TillvaneStoreRequestDelegate alloc] init]) {
  const platform::AutoreleasePool pool;
  [[SKPaymentQueue defaultQueue] addTransactionObserver:observer_];
}

TillvaneManager::~TillvaneManager() {
  const platform::AutoreleasePool pool;
  [request_delegate_ release];
  // Not left to the observer's own end, which somebody else may put off: it would hear of transactions, and finish
  // them, when nobody asks for their outcome any more.
  [[SKPaymentQueue defaultQueue] removeTransactionObserver:observer_];
  [observer_ release];
}

int TillvaneManager::GetPrice(LProcessInterface& process, char* utf8, const char* base) const {
  const platform::AutoreleasePool pool;
  return store::GetPrice(Delegate{request_delegate_}, process, utf8, base);
}

int TillvaneManager::PurchaseApplication(LProcessInterface& process, bool restore) {
  const platform::AutoreleasePool pool;
  return store::PurchaseApplication(Observer{observer_}, Delegate{request_delegate_}, process, restore);
}

bool TillvaneManager::IsAbleToMakePayments(LProcessInterface&) const { return platform::CanMakePayments(); }
