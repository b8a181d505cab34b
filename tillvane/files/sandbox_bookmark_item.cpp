#include <cstddef>

#include <tillvane/files/LPlatformURL.h>
#include <tillvane/files/LSandboxBookmark.h>
#include <tillvane/platform/scoped_url.h>

static_assert(offsetof(LSandboxBookmarkItem, next) == 0);
static_assert(offsetof(LSandboxBookmarkItem, path) == sizeof(void*));
static_assert(offsetof(LSandboxBookmarkItem, url) == (sizeof(void*) == 8 ? 272 : 264));
static_assert(offsetof(LSandboxBookmarkItem, persisted) == offsetof(LSandboxBookmarkItem, url) + sizeof(void*));
static_assert(offsetof(LSandboxBookmarkItem, key) == offsetof(LSandboxBookmarkItem, persisted) + 1);
static_assert(offsetof(LSandboxBookmarkItem, accessing) == offsetof(LSandboxBookmarkItem, key) + 260);
static_assert(offsetof(LSandboxBookmarkItem, flag) == offsetof(LSandboxBookmarkItem, accessing) + 1);
static_assert(sizeof(LSandboxBookmarkItem) == (sizeof(void*) == 8 ? 544 : 532));

LPlatformURL* LPlatformURLCreate(const char* path) {
  return path != nullptr && path[0] != '\0' ? platform::CreateScopedURL(path) : nullptr;
}

void LPlatformURLRelease(LPlatformURL* url) { platform::ReleaseScopedURL(url); }

LSandboxBookmarkItem::~LSandboxBookmarkItem() {
  StopAccessingSecurityScopedResource();
  platform::ReleaseScopedURL(url);
}

void LSandboxBookmarkItem::StartAccessingSecurityScopedResource() {
  if (!accessing && platform::StartScopedAccess(url)) accessing = true;
}

void LSandboxBookmarkItem::StopAccessingSecurityScopedResource() {
  if (accessing && platform::StopScopedAccess(url)) accessing = false;
}
