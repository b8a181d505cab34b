#pragma once

#include <cstdint>
#include <vector>

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/platform/store_service.h>

/// Hears how purchases and restores end, keeps the last outcome and wakes the call that waits for it. Main thread.
///
/// Its owner adds it to the store; it withdraws itself when it ends.
class TillvaneStoreObserver final : public platform::TransactionObserver {
 public:
  /// \param store outlives the observer
  explicit TillvaneStoreObserver(platform::StoreService& store);
  ~TillvaneStoreObserver();
  TillvaneStoreObserver(const TillvaneStoreObserver&) = delete;
  TillvaneStoreObserver& operator=(const TillvaneStoreObserver&) = delete;

  /// A store::Outcome; it lives as long as the observer and is never reset.
  std::int32_t GetResult() const { return result; }
  void RestoreCompletedTransactions();
  /// Waits for the answer to a purchase or a restore that was just asked for.
  void Process(LProcessInterface* process);
  bool CanMakePayments() const;

  void UpdatedTransactions(const std::vector<platform::StoreTransaction>& transactions) override;
  void RestoreFinished() override;
  void RestoreFailed() override;

 private:
  class Batch;

  void End(std::int32_t outcome);

  // These names are what the other system's class calls its variables, which others can see.
  std::int32_t result;
  LSignalObject soDone;
  platform::StoreService& store_;
};
