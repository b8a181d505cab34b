#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <tillvane/files/LFile.h>
#include <tillvane/files/LSandboxBookmark.h>
#include <tillvane/files/path_text.h>
#include <tillvane/files/sandbox_bookmark_keys.h>
#include <tillvane/platform/preferences.h>
#include <tillvane/platform/scoped_url.h>
#include <tillvane/platform/string_array.h>
#include <tillvane/text/LCharsets.h>

namespace {

struct Release {
  void operator()(LPlatformURL* url) const { platform::ReleaseScopedURL(url); }
};
using URLReference = std::unique_ptr<LPlatformURL, Release>;

/// The one whose list is still to be read: the manager of the process, which has no room to say so itself.
const LSandboxBookmarkManager* without_list = nullptr;

class ResolvingMany {
 public:
  ResolvingMany() { platform::BeginResolvingMany(); }
  ~ResolvingMany() { platform::EndResolvingMany(); }
  ResolvingMany(const ResolvingMany&) = delete;
  ResolvingMany& operator=(const ResolvingMany&) = delete;
};

/// What is under a key but no data is no bookmark.
platform::ResolvedBookmark ResolveUnder(const std::string& key) {
  const std::optional<std::vector<unsigned char>> bookmark = platform::PreferenceData(key.c_str());
  return bookmark ? platform::ResolveScopedBookmark(*bookmark) : platform::ResolvedBookmark{nullptr, true};
}

}  // namespace

bool LSandboxBookmarkManager::TakeOver(LPlatformURL* url, const std::string& key) {
  const std::string path = platform::ScopedURLPath(url);
  // Cut, it would be another file's.
  if (path.size() > files::kPathLength || !LFile::TestFileExists(path.c_str())) return false;
  auto item = std::make_unique<LSandboxBookmarkItem>();
  files::StorePath(item->path, path.data(), path.size());
  platform::RetainScopedURL(url);
  item->url = url;
  item->persisted = true;
  utf8strlcpy(item->key, key.c_str(), sizeof item->key);
  item->StartAccessingSecurityScopedResource();
  items.Prepend(item.release());
  return true;
}

bool LSandboxBookmarkManager::LoadBookmark(const std::string& key, bool* removed) {
  *removed = false;
  if (!files::IsBookmarkKey(key) || !platform::HasPreference(key.c_str())) {
    platform::RemoveString(keys, key);
    return false;
  }
  const platform::ResolvedBookmark resolved = ResolveUnder(key);
  const URLReference url(resolved.url);
  if (url) {
    *removed = !TakeOver(url.get(), key);
    return true;
  }
  *removed = resolved.has_failed;
  if (resolved.has_failed) platform::RemoveString(keys, key);
  platform::RemovePreference(key.c_str());
  return true;
}

bool LSandboxBookmarkManager::InstanceLoadBookmark(LPlatformString* key, bool& removed) {
  return LoadBookmark(platform::TextOfString(key), &removed);
}

void LSandboxBookmarkManager::ReadList() {
  without_list = this;
  if (!platform::ArePreferencesReadable()) return;
  const auto stored = platform::PreferenceTexts(files::kBookmarkKeysKey);
  if (stored) {
    for (const std::string& key : *stored) platform::AppendString(keys, key);
  }
  without_list = nullptr;
}

bool LSandboxBookmarkManager::HasList() {
  if (without_list != this) return true;
  if (!platform::ArePreferencesReadable()) return false;
  // What was added meanwhile comes behind what is there.
  const std::vector<std::string> added = platform::StringsOf(keys);
  for (const std::string& key : added) platform::RemoveString(keys, key);
  ReadList();
  for (const std::string& key : added) {
    if (!platform::ContainsString(keys, key)) platform::AppendString(keys, key);
  }
  return true;
}

void LSandboxBookmarkManager::InstanceLoadBookmarksFromFile() {
  ReadList();
  const ResolvingMany resolving;
  bool any_removed = false;
  for (const std::string& key : platform::StringsOf(keys)) {
    bool removed = false;
    LoadBookmark(key, &removed);
    any_removed = any_removed || removed;
  }
  if (any_removed) InstanceSaveBookmarksToFile();
}
