#include <optional>
#include <string>
#include <vector>

#include <tillvane/files/LSandboxBookmark.h>
#include <tillvane/files/sandbox_bookmark_keys.h>
#include <tillvane/platform/preferences.h>
#include <tillvane/platform/scoped_url.h>
#include <tillvane/platform/string_array.h>
#include <tillvane/text/LCharsets.h>

void LSandboxBookmarkManager::StoreKeys() {
  platform::SetPreferenceTexts(files::kBookmarkKeysKey, platform::StringsOf(keys));
}

void LSandboxBookmarkManager::InstanceAddKey(const char* key) {
  if (!files::IsBookmarkKey(key) || platform::ContainsString(keys, key)) return;
  platform::AppendString(keys, key);
  StoreKeys();
  platform::SynchronizePreferences();
}

bool LSandboxBookmarkManager::InstanceSaveBookmarkToFile(LSandboxBookmarkItem* item, const char* key) {
  if (item->persisted || !files::IsBookmarkKey(key)) return false;
  const std::optional<std::vector<unsigned char>> bookmark = platform::ScopedBookmark(item->url);
  if (!bookmark) return false;
  platform::SetPreferenceData(key, *bookmark);
  if (!platform::SynchronizePreferences()) return false;
  item->persisted = true;
  return true;
}

void LSandboxBookmarkManager::InstanceSaveBookmarksToFile() {
  for (const LSandboxBookmarkItem* item = items.head; item != nullptr; item = item->next) {
    if (!item->persisted || !files::IsBookmarkKey(item->key)) continue;
    const std::optional<std::vector<unsigned char>> bookmark = platform::ScopedBookmark(item->url);
    if (bookmark) platform::SetPreferenceData(item->key, *bookmark);
  }
  platform::SynchronizePreferences();
}

bool LSandboxBookmarkManager::KeepUnder(LSandboxBookmarkItem* item, const char* key) {
  utf8strlcpy(item->key, key, sizeof item->key);
  // As it was cut: under another key the bookmark would not be made anew.
  InstanceAddKey(item->key);
  return InstanceSaveBookmarkToFile(item, item->key);
}

bool LSandboxBookmarkManager::InstanceAddFilePathToSettings(const char* path, bool, const char* key) {
  if (IsAccessAllowedByEntitlement(path, false)) return false;
  LSandboxBookmarkItem* const item = InstanceGetItem(path);
  return item != nullptr && KeepUnder(item, key);
}
