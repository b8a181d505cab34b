#include "sandbox_shop.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <system_error>

#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/store/TillvaneStore.h>

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr char kRepeated[] = "org.example.bench.credits";
constexpr char kLasting[] = "org.example.bench.application";
constexpr std::string_view kCatalogue = R"({"version": {"major": 4, "minor": 0}, "products": [
  {"productID": "org.example.bench.credits.paid", "displayPrice": "0.99", "type": "Consumable"},
  {"productID": "org.example.bench.application.paid", "displayPrice": "4.99", "type": "NonConsumable"}]})";

struct Destroy {
  void operator()(TillvaneManager* manager) const { TillvaneDestroy(manager); }
};

}  // namespace

bool PumpingProcess::ProcessWait(unsigned int ms) { return ProcessWaitAndProcessEvents(ms) != 0; }

int PumpingProcess::ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) {
  LProcessEventsHandlerNeverStop handler;
  return handler.ProcessWaitSignalAndProcessEvents(signal, ms);
}

SandboxShop::SandboxShop() {
  std::string pattern = (fs::temp_directory_path() / "tillvane-bench-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) return;
  folder_ = pattern;
  setenv("TILLVANE_STORE_CATALOG", (folder_ / "Products.storekit").c_str(), 1);
  setenv("TILLVANE_STORE_LEDGER", (folder_ / "ledger").c_str(), 1);
  for (const char* name : {"TILLVANE_STORE_LOCALE", "TILLVANE_STORE_STOREFRONT", "TILLVANE_STORE_PAYMENTS"}) {
    unsetenv(name);
  }
  is_open_ = WriteCatalogue();
}

SandboxShop::~SandboxShop() {
  std::error_code ignored;
  if (!folder_.empty()) fs::remove_all(folder_, ignored);
}

bool SandboxShop::WriteCatalogue() const {
  const int file = open((folder_ / "Products.storekit").c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (file < 0) return false;
  const bool written = write(file, kCatalogue.data(), kCatalogue.size()) == static_cast<ssize_t>(kCatalogue.size());
  return close(file) == 0 && written;
}

bool SandboxShop::Confirm(const char*, const char*, void* shop) {
  ++static_cast<SandboxShop*>(shop)->confirmations_;
  return true;
}

bool SandboxShop::Sell(const char* base, bool restore) {
  if (!is_open_) return false;
  TillvaneSetPurchaseConfirmation(Confirm, this);
  const std::unique_ptr<TillvaneManager, Destroy> manager(TillvaneInit());
  std::array<char, 128> price{};
  TillvaneGetPrice(manager.get(), process_, price.data(), base);
  const int confirmations_before = confirmations_;
  const bool sold = price[0] != '\0' && TillvanePurchaseApplication(manager.get(), process_, restore) == 0 &&
                    (restore || confirmations_ == confirmations_before + 1);
  if (sold) ++sales_;
  return sold;
}

bool SandboxShop::Buy() { return Sell(kRepeated, false); }

bool SandboxShop::Restore() {
  if (!owns_lasting_) owns_lasting_ = Sell(kLasting, false);
  return owns_lasting_ && Sell(kLasting, true);
}

}  // namespace bench
