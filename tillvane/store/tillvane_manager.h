#pragma once

#include <cstddef>

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/platform/store_service.h>

// What listens to a store is an object in the store's own language.
#ifdef __OBJC__
@class TillvaneStoreObserver;
@class TillvaneStoreRequestDelegate;
#else
class TillvaneStoreObserver;
class TillvaneStoreRequestDelegate;
#endif

/// The bridge of one host: what the exported functions' handle points to. Main thread.
class TillvaneManager {
 public:
  /// Begins to listen to the system's store.
  TillvaneManager();
  /// Begins to listen to another store, where those that listen are written in C++. \param store outlives the manager
  explicit TillvaneManager(platform::StoreService& store);
  /// Releases the request delegate, then the observer.
  ~TillvaneManager();
  TillvaneManager(const TillvaneManager&) = delete;
  TillvaneManager& operator=(const TillvaneManager&) = delete;

  /// \see TillvaneGetPrice
  int GetPrice(LProcessInterface& process, char* utf8, const char* base) const;
  /// \see TillvanePurchaseApplication
  int PurchaseApplication(LProcessInterface& process, bool restore);
  /// The interface is not used.
  bool IsAbleToMakePayments(LProcessInterface& process) const;

 private:
  friend struct TillvaneManagerLayout;

  // Both are its own.
  TillvaneStoreObserver* observer_;
  TillvaneStoreRequestDelegate* request_delegate_;
};

struct TillvaneManagerLayout {
  static_assert(offsetof(TillvaneManager, observer_) == 0);
  static_assert(offsetof(TillvaneManager, request_delegate_) == sizeof(void*));
  static_assert(sizeof(TillvaneManager) == 2 * sizeof(void*));
};
