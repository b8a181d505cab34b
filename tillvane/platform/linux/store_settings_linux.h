#pragma once

#include <string>

namespace platform {

/// Where the local store finds its things, as the environment says at the time of asking. Main thread.
struct StoreSettings {
  std::string catalogue;      ///< path of the catalogue file
  std::string ledger_folder;  ///< may not exist yet
  std::string locale;         ///< in place of the catalogue's, where not empty
  std::string storefront;     ///< in place of the catalogue's, where not empty
};

StoreSettings CurrentStoreSettings();

/// May payments be made? Yes, unless TILLVANE_STORE_PAYMENTS is "0".
bool ArePaymentsAllowed();

}  // namespace platform
