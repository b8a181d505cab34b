#include "remembered_folder.h"

#include <tillvane/tillvane.h>

#include <cstdio>
#include <memory>

namespace storefront {

namespace {

/// The one key of this program, so that there is one folder at most.
constexpr const char* kKey = "STOREFRONT_FOLDER";

struct Release {
  void operator()(LPlatformURL* url) const { LPlatformURLRelease(url); }
};

}  // namespace

// Already here the folder of an earlier run is found, and the access to it started.
Bookmarks::Bookmarks() { LSandboxBookmarkManager::Create(); }

Bookmarks::~Bookmarks() { LSandboxBookmarkManager::Destroy(); }

void TellRememberedFolder() {
  const LSandboxBookmarkManager& manager = *LSandboxBookmarkManager::pInstance;
  if (const LSandboxBookmarkItem* const item = manager.items.head; item != nullptr) {
    std::printf("Remembered: the folder %s.\n", item->path);
  } else if (manager.keys->Contains(kKey)) {
    // The bookmark stays: a disk may be put in again.
    std::puts("Remembered: a folder that is not there now.");
  }
}

bool RememberFolder(const std::string& folder) {
  const char* const path = folder.c_str();
  if (LSandboxBookmarkManager::IsAccessAllowedByEntitlement(path, false)) {
    std::printf("The folder %s needs no grant, like all of your home: it is not remembered.\n", path);
    return true;
  }
  // A host with windows has the URL from its file chooser.
  const std::unique_ptr<LPlatformURL, Release> url(LPlatformURLCreate(path));
  constexpr bool flag = true, keep = true;
  LSandboxBookmarkManager::AddFilePath(path, url.get(), flag, keep, kKey);
  const LSandboxBookmarkItem* const item = LSandboxBookmarkManager::pInstance->InstanceGetItem(path);
  const bool is_kept = item != nullptr && item->persisted;
  std::printf(is_kept ? "From now on the folder %s is remembered.\n" : "The folder %s could not be remembered.\n",
              path);
  return is_kept;
}

}  // namespace storefront
