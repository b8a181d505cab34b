#include <tillvane/platform/mac/store_observer_mac.h>

#include <cstddef>

#include <tillvane/store/store_rules.h>

namespace {

/// A batch as the rules speak of it.
class Batch {
 public:
  Batch(TillvaneStoreObserver* observer, NSArray* transactions, LSignalObjectRef done)
      : observer_(observer), transactions_(transactions), done_(done) {}

  std::size_t Count() const { return [transactions_ count]; }
  platform::TransactionState State(std::size_t i) const {
    return static_cast<platform::TransactionState>([At(i) transactionState]);
  }
  void Complete(std::size_t i) { [observer_ completeTransaction:At(i)]; }
  void Fail(std::size_t i) { [observer_ failedTransaction:At(i)]; }
  void Restore(std::size_t i) { [observer_ restoreTransaction:At(i)]; }
  void Finish(std::size_t i) { [[SKPaymentQueue defaultQueue] finishTransaction:At(i)]; }
  void Signal() { done_.Signal(); }

 private:
  SKPaymentTransaction* At(std::size_t i) const { return [transactions_ objectAtIndex:i]; }

  TillvaneStoreObserver* observer_;
  NSArray* transactions_;
  LSignalObjectRef done_;
};

}  // namespace

@implementation TillvaneStoreObserver

- (id)init {
  self = [super init];
  if (self != nil) result = store::kFailed;
  return self;
}

- (std::int32_t)GetResult {
  return result;
}

- (void)restoreCompletedTransactions {
  [[SKPaymentQueue defaultQueue] restoreCompletedTransactions];
}

- (void)Process:(LProcessInterface*)process {
  store::WaitForOutcome(soDone, *process);
}

- (void)completeTransaction:(SKPaymentTransaction*)transaction {
  result = store::kBought;
}

- (void)failedTransaction:(SKPaymentTransaction*)transaction {
  result = store::OutcomeOfFailure([[transaction error] code]);
}

- (void)restoreTransaction:(SKPaymentTransaction*)transaction {
  result = store::kBought;
}

- (void)paymentQueue:(SKPaymentQueue*)queue updatedTransactions:(NSArray*)transactions {
  store::HandleTransactions(Batch(self, transactions, soDone));
}

- (void)paymentQueueRestoreCompletedTransactionsFinished:(SKPaymentQueue*)queue {
  result = store::kBought;
  soDone.Signal();
}

- (void)paymentQueue:(SKPaymentQueue*)queue restoreCompletedTransactionsFailedWithError:(NSError*)error {
  result = store::kRestoreFailed;
  soDone.Signal();
}

@end
