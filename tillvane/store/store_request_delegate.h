#pragma once

#include <optional>
#include <string>
#include <vector>

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/platform/store_service.h>

/// Asks the store for the host's product, keeps it and its price, and buys it. Main thread.
///
/// It withdraws itself from its requests when it ends.
class TillvaneStoreRequestDelegate final : public platform::ProductsRequestDelegate {
 public:
  /// \param store outlives the delegate
  explicit TillvaneStoreRequestDelegate(platform::StoreService& store);
  ~TillvaneStoreRequestDelegate();
  TillvaneStoreRequestDelegate(const TillvaneStoreRequestDelegate&) = delete;
  TillvaneStoreRequestDelegate& operator=(const TillvaneStoreRequestDelegate&) = delete;

  /// Has the store answered with products? They need not hold the one that was asked for.
  bool IsProductInfoAvailable() const { return !arrProducts.empty(); }
  /// Asks the store and waits for its answer.
  /// \param base UTF-8; null is empty
  void GetProductInfo(const char* base, LProcessInterface* process);
  /// Copies the price text and its terminator; without a price `utf8` is left untouched.
  void GetPrice(char* utf8) const;
  /// Pays for the first product with the identifier that was asked for; without one buys nothing.
  void Purchase();

  void ProductsReceived(const std::vector<platform::StoreProduct>& products) override;

 private:
  class Received;

  bool IsAskedFor(const platform::StoreProduct& product) const { return product.identifier == strProductID; }

  // These names are what the other system's class calls its variables, which others can see.
  std::string strProductID;
  std::vector<platform::StoreProduct> arrProducts;
  std::optional<std::string> strPrice;
  LSignalObject soReceivedProductsInfo;
  platform::StoreService& store_;
};
