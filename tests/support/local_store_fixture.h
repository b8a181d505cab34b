#pragma once

#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <tests/support/temp_folder.h>
#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/linux/store_service_linux.h>

namespace support {

/// Sets environment variables for as long as it lives.
class EnvironmentScope {
 public:
  ~EnvironmentScope() {
    for (const auto& [name, value] : before_) value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
  }
  void Set(const std::string& name, const std::string& value) {
    const char* old = std::getenv(name.c_str());
    before_.emplace(name, old != nullptr ? std::optional<std::string>(old) : std::nullopt);
    setenv(name.c_str(), value.c_str(), 1);
  }

 private:
  std::map<std::string, std::optional<std::string>> before_;
};

/// A local store in a folder of its own.
class LocalStoreFixture {
 public:
  LocalStoreFixture() {
    environment_.Set("TILLVANE_STORE_CATALOG", folder_.File("Products.storekit"));
    environment_.Set("TILLVANE_STORE_LEDGER", folder_.File("ledger"));
    for (const char* name : {"TILLVANE_STORE_LOCALE", "TILLVANE_STORE_STOREFRONT", "TILLVANE_STORE_PAYMENTS"}) {
      environment_.Set(name, "");
    }
    WriteCatalogue({}, "");
  }

  /// \param settings the members of the catalogue's settings, JSON
  void WriteCatalogue(const std::vector<platform::StoreProduct>& products, const std::string& settings) {
    std::string text = R"({"version":{"major":4,"minor":0},"settings":{)" + settings + R"(},"products":[)";
    for (const auto& product : products) {
      if (&product != &products.front()) text += ',';
      text += R"({"productID":")" + product.identifier + R"(","displayPrice":")" + product.price +
              R"(","type":"NonConsumable"})";
    }
    folder_.Write("Products.storekit", text + "]}");
  }

  EnvironmentScope& Environment() { return environment_; }
  const TempFolder& Folder() const { return folder_; }
  std::string LedgerFolder() const { return folder_.File("ledger"); }

 private:
  TempFolder folder_;
  EnvironmentScope environment_;
};

/// Receives and dispatches what the main loop has for a moment. \return false once the store has nothing more to say
inline bool PumpOnce(platform::LocalStore& store) {
  if (store.IsIdle()) return false;
  platform::Event* event = nullptr;
  if (platform::ReceiveEvent(0.02, &event) == platform::Received::kEvent) {
    platform::DispatchEvent(event);
    platform::ReleaseEvent(event);
  }
  return true;
}

inline void PumpAll(platform::LocalStore& store) {
  while (PumpOnce(store)) {
  }
}

}  // namespace support
