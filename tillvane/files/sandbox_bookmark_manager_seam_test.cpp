#include <string>

#include <gmock/gmock.h>

#include <tests/support/bookmark_manager.h>
#include <tillvane/files/LFile.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using SandboxBookmarks = support::BookmarkManagerTest;

TEST_F(SandboxBookmarks, ANewManagerHasNothingAndSaysNothing) {
  const LSandboxBookmarkManager& manager = Create();
  EXPECT_EQ(manager.items.head, nullptr);
  EXPECT_EQ(manager.keys->Count(), 0u);
  EXPECT_THAT(grants_.TakeCalls(), IsEmpty());
}

TEST_F(SandboxBookmarks, KnowsTheRealFoldersOfTheUser) {
  const LSandboxBookmarkManager& manager = Create();
  char home[260];
  LFile::GetUserFolderNonSandboxed(home);
  const struct {
    const LStringLong& folder;
    const char* name;
  } cases[] = {{manager.downloads, "Downloads"},
               {manager.movies, "Movies"},
               {manager.music, "Music"},
               {manager.pictures, "Pictures"}};
  for (const auto& c : cases) {
    EXPECT_EQ(std::string(c.folder.c_str()), std::string(home) + '/' + c.name);
    EXPECT_EQ(c.folder.size(), std::string(c.folder.c_str()).size());
    EXPECT_EQ(c.folder.capacity(), 260u) << c.name;
  }
}

TEST_F(SandboxBookmarks, TheEndStoresTheKeysWithoutAWaitAndStopsAllAccess) {
  Create();
  Add("/granted/a", true, "a");
  Add("/granted/b", true, "b");
  grants_.TakeCalls();
  grants_.preferences.erase("SECURITY_BOOKMARK_KEYS");
  const LSandboxBookmarkManager* const manager = LSandboxBookmarkManager::pInstance;
  Destroy();
  EXPECT_THAT(grants_.TakeCalls(),
              ElementsAre("list SECURITY_BOOKMARK_KEYS: a b", "stop /granted/b", "stop /granted/a"));
  EXPECT_THAT(StoredKeys(), ElementsAre("a", "b"));
  EXPECT_EQ(LSandboxBookmarkManager::pInstance, manager);
  LSandboxBookmarkManager::pInstance = nullptr;
  LSandboxBookmarkManager::Destroy();
  EXPECT_THAT(grants_.TakeCalls(), IsEmpty());
}

TEST_F(SandboxBookmarks, AGrantIsAddedInFrontAndAccessed) {
  const LSandboxBookmarkManager& manager = Create();
  LPlatformURL* const url = LPlatformURLCreate("/granted/a");
  LSandboxBookmarkManager::pInstance->InstanceAddFilePath("/granted/a", url, false, false, nullptr);
  EXPECT_EQ(grants_.ReferencesOf(url), 2);
  LPlatformURLRelease(url);
  const LSandboxBookmarkItem* const item = manager.InstanceGetItem("/granted/a");
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->url, url);
  EXPECT_FALSE(item->persisted);
  EXPECT_STREQ(item->key, "");
  EXPECT_TRUE(item->accessing);
  EXPECT_FALSE(item->flag);
  Add("/granted/b");
  EXPECT_THAT(Paths(), ElementsAre("/granted/b", "/granted/a"));
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("start /granted/a", "start /granted/b"));
  EXPECT_EQ(manager.InstanceGetItem("/granted/c"), nullptr);
  EXPECT_EQ(manager.InstanceGetItem("/Granted/a"), nullptr);
  EXPECT_EQ(manager.InstanceGetItem("/granted"), nullptr);
}

TEST_F(SandboxBookmarks, APathThatIsThereKeepsItsGrant) {
  const LSandboxBookmarkManager& manager = Create();
  Add("/granted/a");
  LPlatformURL* const second = LPlatformURLCreate("/another");
  LSandboxBookmarkManager::AddFilePath("/granted/a", second, false, true, "key");
  EXPECT_EQ(grants_.ReferencesOf(second), 1);
  LPlatformURLRelease(second);
  EXPECT_THAT(Paths(), ElementsAre("/granted/a"));
  EXPECT_TRUE(manager.items.head->flag);
  // Kept is the first URL's bookmark.
  EXPECT_THAT(grants_.TakeCalls(),
              ElementsAre("start /granted/a", "list SECURITY_BOOKMARK_KEYS: key", "synchronize", "bookmark /granted/a",
                          "data key: bookmark of /granted/a", "synchronize"));
}

TEST_F(SandboxBookmarks, TheFlagsAreCrossed) {
  const LSandboxBookmarkManager& manager = Create();
  for (const bool first : {false, true}) {
    for (const bool second : {false, true}) {
      const std::string path = std::string("/granted/") + (first ? '1' : '0') + (second ? '1' : '0');
      LPlatformURL* const url = LPlatformURLCreate(path.c_str());
      LSandboxBookmarkManager::AddFilePath(path.c_str(), url, first, second, path.c_str());
      LPlatformURLRelease(url);
      EXPECT_EQ(manager.items.head->flag, first) << path;
      EXPECT_EQ(manager.items.head->persisted, second) << path;
    }
  }
}

TEST_F(SandboxBookmarks, APathOfTheContainerIsNeitherAccessedNorKept) {
  const LSandboxBookmarkManager& manager = Create();
  const std::string inside = home_.Path("x");
  Add(inside, true, "key");
  ASSERT_NE(manager.InstanceGetItem(inside.c_str()), nullptr);
  EXPECT_FALSE(manager.items.head->accessing);
  EXPECT_STREQ(manager.items.head->key, "");
  EXPECT_FALSE(LSandboxBookmarkManager::AddFilePathToSettings(inside.c_str(), true, "key"));
  EXPECT_THAT(grants_.TakeCalls(), IsEmpty());
  // By a link of the container the way leads out.
  const std::string linked = home_.Path("Downloads/x");
  Add(linked, true, "key");
  EXPECT_TRUE(manager.items.head->accessing);
  EXPECT_TRUE(manager.items.head->persisted);
}

TEST_F(SandboxBookmarks, AccessByEntitlement) {
  support::MakeFile(home_.Path("there"));
  support::MakeFile(home_.Real("Downloads/there"));
  const struct {
    std::string path;
    bool is_allowed;
  } cases[] = {
      {home_.Path("there"), true},
      {home_.Path("new"), true},
      {home_.Path(), true},
      {home_.Path("Downloads/there"), false},
      {home_.Path("Downloads/new"), false},
      {home_.Real("Downloads/there"), false},
      {home_.Real("new"), false},
      {"/", false},
      {"", false},
  };
  for (const auto& c : cases) {
    std::string path = c.path;
    for (const bool flag : {false, true}) {
      EXPECT_EQ(LSandboxBookmarkManager::IsAccessAllowedByEntitlement(path.c_str(), flag), c.is_allowed) << c.path;
    }
    EXPECT_EQ(path, c.path);
  }
}

TEST_F(SandboxBookmarks, AccessStartsAndStopsByThePath) {
  const LSandboxBookmarkManager& manager = Create();
  // Two items of one path, as loading may make them; the newer one comes first.
  for (int i = 0; i < 2; ++i) {
    auto* const item = new LSandboxBookmarkItem;
    item->url = LPlatformURLCreate(i == 0 ? "/old" : "/new");
    std::string("/granted").copy(item->path, sizeof item->path);
    LSandboxBookmarkManager::pInstance->items.Prepend(item);
  }
  for (int i = 0; i < 3; ++i) LSandboxBookmarkManager::StartAccessingSecurityScopedResource("/granted");
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("start /new", "start /old"));
  LSandboxBookmarkManager::StopAccessingSecurityScopedResource("/granted");
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("stop /new"));
  EXPECT_FALSE(manager.items.head->accessing);
  for (int i = 0; i < 2; ++i) LSandboxBookmarkManager::StopAccessingSecurityScopedResource("/granted");
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("stop /old"));
  LSandboxBookmarkManager::StartAccessingSecurityScopedResource("/unknown");
  LSandboxBookmarkManager::StopAccessingSecurityScopedResource("/unknown");
  EXPECT_THAT(grants_.TakeCalls(), IsEmpty());
}

TEST_F(SandboxBookmarks, LongPathsAreCut) {
  const LSandboxBookmarkManager& manager = Create();
  for (const std::size_t length : {258u, 259u, 260u, 261u, 5000u}) {
    const std::string path = '/' + std::string(length - 1, 'p');
    Add(path);
    EXPECT_EQ(manager.items.head->path, path.substr(0, 259)) << length;
    EXPECT_NE(manager.items.head->url, nullptr) << length;
    EXPECT_FALSE(manager.items.head->persisted) << length;
  }
}

TEST_F(SandboxBookmarks, APathThatWasCutIsOneItemAndIsNotKept) {
  const LSandboxBookmarkManager& manager = Create();
  const std::string longest = '/' + std::string(258, 'p'), path = longest + 'q';
  for (int i = 0; i < 2; ++i) Add(path, true, "key");
  EXPECT_THAT(Paths(), ElementsAre(longest));
  EXPECT_TRUE(manager.items.head->accessing);
  EXPECT_FALSE(LSandboxBookmarkManager::AddFilePathToSettings(path.c_str(), true, "key"));
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("start " + path));
  EXPECT_TRUE(grants_.preferences.empty());
  Add(longest, true, "key");
  EXPECT_TRUE(manager.items.head->persisted) << "one that fits is kept";
}

}  // namespace
