#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include <tillvane/files/LFile.h>
#include <tillvane/files/LSandboxBookmark.h>
#include <tillvane/files/path_text.h>
#include <tillvane/platform/scoped_url.h>
#include <tillvane/platform/string_array.h>

static_assert(offsetof(LSandboxBookmarkManager, items) == 0);
static_assert(offsetof(LSandboxBookmarkManager, keys) == sizeof(void*));
static_assert(offsetof(LSandboxBookmarkManager, downloads) == 2 * sizeof(void*));
static_assert(offsetof(LSandboxBookmarkManager, movies) == 2 * sizeof(void*) + sizeof(LStringLong));
static_assert(offsetof(LSandboxBookmarkManager, music) == 2 * sizeof(void*) + 2 * sizeof(LStringLong));
static_assert(offsetof(LSandboxBookmarkManager, pictures) == 2 * sizeof(void*) + 3 * sizeof(LStringLong));
static_assert(sizeof(LSandboxBookmarkManager) == 2 * sizeof(void*) + 4 * sizeof(LStringLong));

LSandboxBookmarkManager* LSandboxBookmarkManager::pInstance = nullptr;

namespace {

void StoreFolder(void (*get)(char*), LStringLong* folder) {
  folder->GrowToSize(files::kPathSize);
  get(folder->data());
  folder->SetLength(std::strlen(folder->data()));
}

}  // namespace

LSandboxBookmarkManager::LSandboxBookmarkManager() : keys(platform::CreateStringArray()) {
  try {
    StoreFolder(&LFile::GetUserDownloadFolderNonSandboxed, &downloads);
    StoreFolder(&LFile::GetUserVideoFolderNonSandboxed, &movies);
    StoreFolder(&LFile::GetUserMusicFolderNonSandboxed, &music);
    StoreFolder(&LFile::GetUserPicturesFolderNonSandboxed, &pictures);
    InstanceLoadBookmarksFromFile();
  } catch (const std::bad_alloc&) {
    items.Clear();
    platform::ReleaseStringArray(keys);
    throw;
  }
}

LSandboxBookmarkManager::~LSandboxBookmarkManager() {
  try {
    StoreKeys();
  } catch (const std::bad_alloc&) {
    // The list stays as it was when a key was last added.
  }
  platform::ReleaseStringArray(keys);
  items.Clear();
}

void LSandboxBookmarkManager::Create() { pInstance = new LSandboxBookmarkManager; }

void LSandboxBookmarkManager::Destroy() { delete pInstance; }

void LSandboxBookmarkManager::AddFilePath(const char* path, LPlatformURL* url, bool first, bool second,
                                          const char* key) {
  pInstance->InstanceAddFilePath(path, url, second, first, key);
}

bool LSandboxBookmarkManager::AddFilePathToSettings(const char* path, bool flag, const char* key) {
  return pInstance->InstanceAddFilePathToSettings(path, flag, key);
}

void LSandboxBookmarkManager::StartAccessingSecurityScopedResource(const char* path) {
  for (LSandboxBookmarkItem* item = pInstance->items.head; item != nullptr; item = item->next) {
    if (!item->accessing && std::strcmp(item->path, path) == 0) return item->StartAccessingSecurityScopedResource();
  }
}

void LSandboxBookmarkManager::StopAccessingSecurityScopedResource(const char* path) {
  for (LSandboxBookmarkItem* item = pInstance->items.head; item != nullptr; item = item->next) {
    if (item->accessing && std::strcmp(item->path, path) == 0) return item->StopAccessingSecurityScopedResource();
  }
}

bool LSandboxBookmarkManager::IsAccessAllowedByEntitlement(const char* path, bool) {
  char outside[files::kPathSize];
  return LFile::IsPathInSandbox(path) && !LFile::MakeNonSandboxedFilePath(outside, path);
}

LSandboxBookmarkItem* LSandboxBookmarkManager::InstanceGetItem(const char* path) const {
  LSandboxBookmarkItem* item = items.head;
  while (item != nullptr && std::strcmp(item->path, path) != 0) item = item->next;
  return item;
}

void LSandboxBookmarkManager::InstanceAddFilePath(const char* path, LPlatformURL* url, bool save_to_settings,
                                                  bool caller_flag, const char* key) {
  char kept_path[files::kPathSize];
  const std::size_t length = std::strlen(path);
  files::StorePath(kept_path, path, length);
  LSandboxBookmarkItem* item = InstanceGetItem(kept_path);
  if (item == nullptr) {
    auto added = std::make_unique<LSandboxBookmarkItem>();
    platform::RetainScopedURL(url);
    added->url = url;
    files::StorePath(added->path, path, length);
    added->flag = caller_flag;
    item = added.release();
    items.Prepend(item);
  }
  if (IsAccessAllowedByEntitlement(path, false)) return;
  item->StartAccessingSecurityScopedResource();
  // A bookmark of another path than the item's would come back as another item.
  if (save_to_settings && length <= files::kPathLength) KeepUnder(item, key);
}
