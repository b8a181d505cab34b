#include "window-shop/shop.h"

#include <chrono>
#include <utility>

namespace window_shop {

namespace {

// What TillvanePurchaseApplication answers.
constexpr int kDone = 0;
constexpr int kCancelled = 1;

}  // namespace

Shop::Shop(HostProcess& process, std::string base, AskFunction ask)
    : process_(process), base_(std::move(base)), ask_(std::move(ask)), manager_(TillvaneInit()) {
  TillvaneSetPurchaseConfirmation(Confirm, this);
}

Shop::~Shop() { TillvaneSetPurchaseConfirmation(nullptr, nullptr); }

bool Shop::Confirm(const char* product, const char* price, void* self) {
  Shop& shop = *static_cast<Shop*>(self);
  // The store may ask after the user has given up: whoever stopped does not want to pay.
  if (shop.process_.IsToStop()) return false;
  const auto began = std::chrono::steady_clock::now();
  const bool yes = shop.ask_(product, price);
  shop.process_.GiveBack(std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - began));
  return yes && !shop.process_.IsToStop();
}

std::string Shop::AskPrice() {
  // Without a price the buffer is left as it is: it must be empty before.
  char price[128] = "";
  TillvaneGetPrice(manager_.get(), process_, price, base_.c_str());
  price_ = price;
  if (!price_.empty()) return "The price is " + price_ + ".";
  return process_.IsToStop() ? "Stopped." : "No price: the store has no such product, or did not answer.";
}

std::string Shop::Buy() {
  if (!TillvaneIsAbleToMakePayments(manager_.get(), process_)) return "Not bought: this user may not make payments.";
  const int result = TillvanePurchaseApplication(manager_.get(), process_, false);
  if (result == kDone) return "Bought: the application is unlocked.";
  if (process_.IsToStop()) return "Stopped waiting for the purchase.";
  return result == kCancelled ? "Not bought: the purchase was declined." : Failure("bought");
}

std::string Shop::Restore() {
  const int result = TillvanePurchaseApplication(manager_.get(), process_, true);
  if (result == kDone) return "Restored: the application is unlocked.";
  if (process_.IsToStop()) return "Stopped.";
  return result == kCancelled ? "Not restored: there is no earlier purchase." : Failure("restored");
}

std::string Shop::Failure(const char* what) const {
  // Without a message the bridge did not even ask the store.
  const std::string& error = process_.Error();
  return std::string("Not ") + what + ": " + (error.empty() ? "no product is loaded, ask for the price first" : error) +
         ".";
}

}  // namespace window_shop
