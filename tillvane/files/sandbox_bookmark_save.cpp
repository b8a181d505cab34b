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
  // Over a list that could not be read, all that is kept under its keys would be lost.
  if (!HasList()) return;
  platform::SetPreferenceTexts(files::kBookmarkKeysKey, platform::StringsOf(keys));
}

void LSandboxBookmarkManager::InstanceAddKey(const char* key) {
  const std::string cut = files::CutBookmarkKey(key);
  if (!files::IsBookmarkKey(cut) || platform::ContainsString(keys, cut)) return;
  platform::AppendString(keys, cut);
  StoreKeys();
  platform::SynchronizePreferences();
}

bool LSandboxBookmarkManager::InstanceSaveBookmarkToFile(LSandboxBookmarkItem* item, const char* key) {
  const std::string cut = files::CutBookmarkKey(key);
  if (item->persisted || !files::IsBookmarkKey(cut)) return false;
  const std::optional<std::vector<unsigned char>> bookmark = platform::ScopedBookmark(item->url);
  if (!bookmark) return false;
  platform::SetPreferenceData(cut.c_str(), *bookmark);
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
  InstanceAddKey(item->key);
  return InstanceSaveBookmarkToFile(item, item->key);
}

bool LSandboxBookmarkManager::InstanceAddFilePathToSettings(const char* path, bool, const char* key) {
  if (IsAccessAllowedByEntitlement(path, false)) return false;
  LSandboxBookmarkItem* const item = InstanceGetItem(path);
  return item != nullptr && KeepUnder(item, key);
}
