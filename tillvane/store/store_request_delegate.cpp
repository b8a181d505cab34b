#include <tillvane/store/store_request_delegate.h>

#include <cstddef>
#include <cstring>

#include <tillvane/platform/money.h>
#include <tillvane/store/store_rules.h>

/// A products request's answer as the rules speak of it.
class TillvaneStoreRequestDelegate::Received {
 public:
  Received(TillvaneStoreRequestDelegate& delegate, const std::vector<platform::StoreProduct>& products)
      : delegate_(delegate), products_(products) {}

  std::size_t Count() const { return products_.size(); }
  bool IsAskedFor(std::size_t i) const { return delegate_.IsAskedFor(products_[i]); }
  void KeepProducts() { delegate_.arrProducts = products_; }
  void KeepPrice(std::size_t i) {
    const platform::StoreProduct& product = products_[i];
    delegate_.strPrice = platform::FormatMoney(product.price, product.currency, product.price_locale);
  }
  void Signal() { delegate_.soReceivedProductsInfo.Signal(); }

 private:
  TillvaneStoreRequestDelegate& delegate_;
  const std::vector<platform::StoreProduct>& products_;
};

TillvaneStoreRequestDelegate::TillvaneStoreRequestDelegate(platform::StoreService& store) : store_(store) {}

TillvaneStoreRequestDelegate::~TillvaneStoreRequestDelegate() { store_.Withdraw(*this); }

void TillvaneStoreRequestDelegate::GetProductInfo(const char* base, LProcessInterface* process) {
  strProductID = store::ProductIdentifier(base);
  store_.StartProductsRequest(strProductID, *this);
  store::WaitForProducts(soReceivedProductsInfo, *process);
}

void TillvaneStoreRequestDelegate::GetPrice(char* utf8) const {
  if (strPrice && utf8 != nullptr) std::memcpy(utf8, strPrice->c_str(), strPrice->size() + 1);
}

void TillvaneStoreRequestDelegate::Purchase() {
  const std::size_t match =
      store::FirstMatch(arrProducts.size(), [this](std::size_t i) { return IsAskedFor(arrProducts[i]); });
  if (match < arrProducts.size()) store_.AddPayment(arrProducts[match]);
}

void TillvaneStoreRequestDelegate::ProductsReceived(const std::vector<platform::StoreProduct>& products) {
  store::HandleProducts(Received(*this, products));
}
