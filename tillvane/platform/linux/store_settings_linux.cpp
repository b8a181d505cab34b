#include <tillvane/platform/linux/store_settings_linux.h>

#include <unistd.h>

#include <cstdlib>

#include <tillvane/platform/known_folders.h>
#include <tillvane/platform/main_bundle.h>

namespace platform {

namespace {

/// A variable's text; empty when it is not set.
std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::string DataFolder() { return ApplicationSupportFolder() + '/' + MainBundleName(); }

std::string CataloguePath() {
  if (std::string named = Environment("TILLVANE_STORE_CATALOG"); !named.empty()) return named;
  const char* const file = "/Products.storekit";
  // Whatever is in the way at this path is reported when it is read.
  if (std::string shipped = MainBundleResourcesPath() + file; access(shipped.c_str(), F_OK) == 0) return shipped;
  return DataFolder() + file;
}

std::string LedgerFolder() {
  std::string named = Environment("TILLVANE_STORE_LEDGER");
  return named.empty() ? DataFolder() : named;
}

}  // namespace

StoreSettings CurrentStoreSettings() {
  return {CataloguePath(), LedgerFolder(), Environment("TILLVANE_STORE_LOCALE"),
          Environment("TILLVANE_STORE_STOREFRONT")};
}

bool ArePaymentsAllowed() { return Environment("TILLVANE_STORE_PAYMENTS") != "0"; }

}  // namespace platform
