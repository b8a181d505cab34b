#pragma once

#include <memory>

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/platform/store_service.h>

class TillvaneStoreObserver;
class TillvaneStoreRequestDelegate;

/// The bridge of one host: what the exported functions' handle points to. Main thread.
class TillvaneManager {
 public:
  /// Begins to listen. \param store outlives the manager
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

  std::unique_ptr<TillvaneStoreObserver> observer_;
  std::unique_ptr<TillvaneStoreRequestDelegate> request_delegate_;
};
