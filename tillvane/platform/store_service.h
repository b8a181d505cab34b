#pragma once

/// \file
/// The store: products request, payment queue, transaction observers, with StoreKit's shape and states. StoreKit itself
/// tells Objective-C objects only, so it is no StoreService.
///
/// All text is UTF-8. Everything is called on the main thread; every answer comes later from the main loop, never from
/// inside the call. Delegates and observers stay their owner's; each withdraws itself before it ends, and an answer
/// for one that has withdrawn is dropped. Failures arrive as answers: a failed transaction, a failed restore, or, for a
/// products request, nothing.

#include <string>
#include <vector>

namespace platform {

struct StoreProduct {
  std::string identifier;
  std::string price;         ///< decimal text, "4.99"
  std::string currency;      ///< ISO 4217
  std::string price_locale;  ///< the locale that the price is shown in
};

enum class TransactionState { kPurchasing = 0, kPurchased = 1, kFailed = 2, kRestored = 3, kDeferred = 4 };

/// The error of a failed transaction that the user cancelled.
inline constexpr long kPaymentCancelled = 2;

struct StoreTransaction {
  long long id = 0;  ///< the store's own number
  TransactionState state = TransactionState::kPurchasing;
  std::string product;
  long error_code = 0;  ///< of a failed transaction
};

/// Hears a products request's answer.
class ProductsRequestDelegate {
 public:
  virtual void ProductsReceived(const std::vector<StoreProduct>& products) = 0;

 protected:
  ~ProductsRequestDelegate() = default;
};

/// Hears of the payment queue's transactions.
class TransactionObserver {
 public:
  virtual void UpdatedTransactions(const std::vector<StoreTransaction>& transactions) = 0;
  virtual void RestoreFinished() = 0;
  virtual void RestoreFailed() = 0;

 protected:
  ~TransactionObserver() = default;
};

/// A store that C++ objects listen to.
class StoreService {
 public:
  virtual ~StoreService() = default;

  /// Asks for the product of this identifier; an unknown one is answered with no products.
  virtual void StartProductsRequest(const std::string& identifier, ProductsRequestDelegate& delegate) = 0;
  /// Withdraws a delegate from its requests.
  virtual void Withdraw(ProductsRequestDelegate& delegate) = 0;

  /// From now on the observer is told of every transaction; unfinished ones are told again.
  virtual void AddTransactionObserver(TransactionObserver& observer) = 0;
  virtual void Withdraw(TransactionObserver& observer) = 0;

  virtual void AddPayment(const StoreProduct& product) = 0;
  /// The host has done what a final transaction asks for: it is never told again.
  virtual void FinishTransaction(const StoreTransaction& transaction) = 0;
  virtual void RestoreCompletedTransactions() = 0;
  virtual bool CanMakePayments() = 0;
};

/// May this user make payments in the system's store?
bool CanMakePayments();

/// Asks the user before a purchase; \see TillvaneSetPurchaseConfirmation. Nothing where the system's store asks itself.
void SetPurchaseConfirmation(bool (*ask)(const char* id, const char* price, void* data), void* data);

/// Decides the deferred purchases. Nothing where the system's store does that itself.
void DecideDeferredPurchases(bool approve);

}  // namespace platform
