#include "shop.h"

#include <cstdio>
#include <utility>

#include "host_process.h"
#include "progress_line.h"

namespace storefront {

namespace {

// What TillvanePurchaseApplication answers.
constexpr int kDone = 0;
constexpr int kCancelled = 1;

/// The store answers a decision later, on the main loop, and there is nothing to wait for: give it this long.
constexpr unsigned int kDecisionMs = 300;

/// Why a purchase or a restore failed. Without a message the bridge did not even ask the store.
std::string Reason(const std::string& error) {
  return error.empty() ? "no product is loaded, ask for the price first" : error;
}

}  // namespace

Shop::Shop(HostProcess& process, ProgressLine& progress, std::string base)
    : process_(process), progress_(progress), base_(std::move(base)), manager_(TillvaneInit()) {}

bool Shop::IsStopped() const {
  if (!process_.IsToStop()) return false;
  std::puts("  Stopped.");
  return true;
}

bool Shop::AskPrice() {
  // Without a price the buffer is left as it is: it must be empty before.
  char price[128] = "";
  progress_.BeginStep("asking for the price");
  TillvaneGetPrice(manager_.get(), process_, price, base_.c_str());
  progress_.EndStep();
  price_ = price;
  if (IsStopped()) return false;
  if (price_.empty()) {
    std::puts("  No price: the store has no such product (or did not answer).");
    return false;
  }
  std::printf("  The price is %s.\n", price);
  return true;
}

int Shop::Purchase(bool restore) {
  process_.TakeError();
  progress_.BeginStep(restore ? "restoring" : "buying");
  const int result = TillvanePurchaseApplication(manager_.get(), process_, restore);
  progress_.EndStep();
  return result;
}

bool Shop::Buy() {
  // Ask first: a host with windows would not even show the button.
  if (!TillvaneIsAbleToMakePayments(manager_.get(), process_)) {
    std::puts("  Not bought: this user may not make payments.");
    return false;
  }
  const int result = Purchase(false);
  if (IsStopped()) return false;
  if (result == kDone) {
    std::puts(progress_.HasWaited() ? "  Bought: the application is unlocked."
                                    : "  Bought already: nothing was charged again.");
  } else if (result == kCancelled) {
    std::puts("  Not bought: the purchase was cancelled.");
  } else {
    std::printf("  Not bought: %s.\n", Reason(process_.TakeError()).c_str());
  }
  return result == kDone || result == kCancelled;
}

bool Shop::Restore() {
  const int result = Purchase(true);
  if (IsStopped()) return false;
  if (result == kDone) {
    std::puts("  Restored: the application is unlocked.");
  } else if (result == kCancelled) {
    std::puts("  Not restored: there is no earlier purchase.");
  } else {
    std::printf("  Not restored: %s.\n", Reason(process_.TakeError()).c_str());
  }
  return result == kDone || result == kCancelled;
}

bool Shop::DecideDeferred(bool approve) {
  progress_.BeginStep(approve ? "approving" : "declining");
  TillvaneDecideDeferredPurchases(approve);
  const bool stopped = process_.ProcessWait(kDecisionMs);
  progress_.EndStep();
  if (stopped && IsStopped()) return false;
  std::printf("  Whatever waited for approval is %s.\n", approve ? "approved" : "declined");
  return true;
}

bool Shop::Pause(unsigned int ms) {
  progress_.BeginStep("pausing");
  process_.ProcessWait(ms);
  progress_.EndStep();
  return !IsStopped();
}

}  // namespace storefront
