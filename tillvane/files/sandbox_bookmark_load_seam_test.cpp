#include <string>

#include <gmock/gmock.h>

#include <tests/support/bookmark_manager.h>
#include <tillvane/platform/native_string.h>

namespace {

using support::Bytes;
using support::MakeFile;
using support::ScriptedGrants;
using support::Texts;
using testing::ElementsAre;
using testing::IsEmpty;

class SandboxBookmarksLoaded : public support::BookmarkManagerTest {
 protected:
  /// Outside of the home, where grants are needed.
  std::string MakeGranted(const std::string& name) const {
    MakeFile(home_.Beside(name));
    return home_.Beside(name);
  }
  void Keep(const std::string& key, const support::Value& value) {
    grants_.preferences[key] = value;
    auto& list = grants_.preferences["SECURITY_BOOKMARK_KEYS"];
    if (!std::holds_alternative<Texts>(list)) list = Texts();
    std::get<Texts>(list).push_back(key);
  }
};

TEST_F(SandboxBookmarksLoaded, GrantsComeBackAndAreAccessed) {
  const std::string a = MakeGranted("a"), b = MakeGranted("b");
  Keep("key a", ScriptedGrants::Bookmark(a));
  Keep("key b", ScriptedGrants::Bookmark(b));
  const LSandboxBookmarkManager& manager = Create();
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("start " + a, "start " + b));
  EXPECT_THAT(Paths(), ElementsAre(b, a));
  EXPECT_THAT(Keys(), ElementsAre("key a", "key b"));
  const LSandboxBookmarkItem& item = *manager.InstanceGetItem(a.c_str());
  EXPECT_STREQ(item.key, "key a");
  EXPECT_TRUE(item.persisted);
  EXPECT_TRUE(item.accessing);
  EXPECT_TRUE(item.flag);
  EXPECT_EQ(grants_.ReferencesOf(item.url), 1);
}

TEST_F(SandboxBookmarksLoaded, AKeyWithoutDataLeavesTheListOfThisManagerOnly) {
  const std::string a = MakeGranted("a");
  Keep("missing", Bytes());
  Keep("key a", ScriptedGrants::Bookmark(a));
  grants_.preferences.erase("missing");
  Create();
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("start " + a));
  EXPECT_THAT(Keys(), ElementsAre("key a"));
  EXPECT_THAT(StoredKeys(), ElementsAre("missing", "key a"));
  Destroy();
  EXPECT_THAT(StoredKeys(), ElementsAre("key a"));
}

TEST_F(SandboxBookmarksLoaded, TheStoredListIsRewrittenWhenAKeyIsAdded) {
  Keep("missing", Bytes());
  grants_.preferences.erase("missing");
  Create().InstanceAddKey("new");
  EXPECT_THAT(StoredKeys(), ElementsAre("new"));
}

TEST_F(SandboxBookmarksLoaded, ABookmarkThatCannotBeReadIsDropped) {
  const std::string a = MakeGranted("a");
  for (const support::Value& value : {support::Value(Bytes{1, 2}), support::Value(Bytes()),
                                      support::Value(std::string("text")), support::Value(Texts{"a"})}) {
    grants_.preferences.clear();
    Keep("bad", value);
    Keep("key a", ScriptedGrants::Bookmark(a));
    Create();
    // All others are made anew, once.
    EXPECT_THAT(grants_.TakeCalls(), ElementsAre("remove bad", "start " + a, "bookmark " + a,
                                                 "data key a: bookmark of " + a, "synchronize"));
    EXPECT_THAT(Keys(), ElementsAre("key a"));
    EXPECT_FALSE(grants_.preferences.count("bad"));
    Destroy();
    grants_.TakeCalls();
  }
}

TEST_F(SandboxBookmarksLoaded, OneThatLeadsNowhereWithoutAnErrorKeepsItsKey) {
  Keep("neither", ScriptedGrants::Neither());
  Create();
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("remove neither"));
  EXPECT_THAT(Keys(), ElementsAre("neither"));
  EXPECT_THAT(Paths(), IsEmpty());
}

TEST_F(SandboxBookmarksLoaded, AFileThatIsNotThereKeepsItsBookmark) {
  const std::string a = MakeGranted("a"), gone = home_.Beside("gone");
  Keep("key 1", ScriptedGrants::Bookmark(gone));
  Keep("key a", ScriptedGrants::Bookmark(a));
  Keep("key 2", ScriptedGrants::Bookmark(gone + "2"));
  Create();
  EXPECT_THAT(grants_.TakeCalls(),
              ElementsAre("start " + a, "bookmark " + a, "data key a: bookmark of " + a, "synchronize"));
  EXPECT_THAT(Paths(), ElementsAre(a));
  EXPECT_THAT(Keys(), ElementsAre("key 1", "key a", "key 2"));
  EXPECT_EQ(grants_.preferences["key 1"], support::Value(ScriptedGrants::Bookmark(gone)));
  // It comes back.
  Destroy();
  MakeFile(gone);
  Create();
  EXPECT_THAT(Paths(), ElementsAre(a, gone));
}

TEST_F(SandboxBookmarksLoaded, APathThatIsTooLongIsNoOtherFiles) {
  // The first 259 characters are a file's path.
  std::string path = home_.Beside("long");
  while (path.size() < 150) path += "/" + std::string(20, 'd');
  support::MakeFolder(path);
  path += '/' + std::string(259 - path.size() - 1, 'f');
  MakeFile(path);
  MakeFile(path + "more");
  Keep("short", ScriptedGrants::Bookmark(path));
  Keep("long", ScriptedGrants::Bookmark(path + "more"));
  Create();
  EXPECT_THAT(Paths(), ElementsAre(path));
  EXPECT_STREQ(LSandboxBookmarkManager::pInstance->items.head->key, "short");
  EXPECT_TRUE(grants_.preferences.count("long"));
}

TEST_F(SandboxBookmarksLoaded, LoadingAgainAppends) {
  const std::string a = MakeGranted("a");
  Keep("key a", ScriptedGrants::Bookmark(a));
  Create().InstanceLoadBookmarksFromFile();
  EXPECT_THAT(Keys(), ElementsAre("key a", "key a"));
  EXPECT_THAT(Paths(), ElementsAre(a, a, a));
}

TEST_F(SandboxBookmarksLoaded, WhatIsStoredAsAListMayBeNone) {
  for (const support::Value& value : {support::Value(std::string("a")), support::Value(Bytes{1})}) {
    grants_.preferences["SECURITY_BOOKMARK_KEYS"] = value;
    Create();
    EXPECT_THAT(Keys(), IsEmpty());
    EXPECT_THAT(grants_.TakeCalls(), IsEmpty());
    Destroy();
    grants_.TakeCalls();
  }
}

TEST_F(SandboxBookmarksLoaded, KeysThatAreNoneLeaveTheList) {
  Keep("", Bytes{1});
  Keep("bad \xFF", Bytes{1});
  Keep("SECURITY_BOOKMARK_KEYS", Texts{"", "bad \xFF", "SECURITY_BOOKMARK_KEYS"});
  Create();
  EXPECT_THAT(grants_.TakeCalls(), IsEmpty());
  EXPECT_THAT(Keys(), IsEmpty());
}

TEST_F(SandboxBookmarksLoaded, AListThatCouldNotBeReadIsNotWrittenOver) {
  const std::string a = MakeGranted("a");
  Keep("key a", ScriptedGrants::Bookmark(a));
  grants_.can_read = false;
  Create().InstanceAddKey("new");
  EXPECT_THAT(Paths(), IsEmpty());
  EXPECT_THAT(Keys(), ElementsAre("new"));
  Destroy();
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("synchronize"));
  EXPECT_THAT(StoredKeys(), ElementsAre("key a"));
}

TEST_F(SandboxBookmarksLoaded, AListThatCanBeReadLaterComesBeforeWhatWasAdded) {
  Keep("key a", ScriptedGrants::Bookmark("/a"));
  Keep("key b", ScriptedGrants::Bookmark("/b"));
  grants_.can_read = false;
  LSandboxBookmarkManager& manager = Create();
  for (const char* key : {"new", "key b"}) manager.InstanceAddKey(key);
  grants_.can_read = true;
  manager.InstanceAddKey("newer");
  EXPECT_THAT(StoredKeys(), ElementsAre("key a", "key b", "new", "newer"));
  EXPECT_THAT(Keys(), ElementsAre("key a", "key b", "new", "newer"));
  // It is read once.
  manager.InstanceAddKey("newest");
  EXPECT_THAT(StoredKeys(), ElementsAre("key a", "key b", "new", "newer", "newest"));
}

TEST_F(SandboxBookmarksLoaded, TheEndHasTheListThatCanBeReadBefore) {
  Keep("key a", ScriptedGrants::Bookmark("/a"));
  grants_.can_read = false;
  Create().InstanceAddKey("new");
  grants_.can_read = true;
  Destroy();
  EXPECT_THAT(StoredKeys(), ElementsAre("key a", "new"));
}

TEST_F(SandboxBookmarksLoaded, AllAreResolvedTogether) {
  Keep("key a", ScriptedGrants::Bookmark(MakeGranted("a")));
  Keep("bad", Bytes{1});
  Create();
  EXPECT_EQ(grants_.resolved_alone, 0);
  EXPECT_EQ(grants_.resolving, 0);
}

TEST_F(SandboxBookmarksLoaded, OneKeyAtATime) {
  const std::string a = MakeGranted("a");
  LSandboxBookmarkManager& manager = Create();
  const struct {
    support::Value value;
    bool removed;
  } cases[] = {{ScriptedGrants::Bookmark(a), false},
               {Bytes{1}, true},
               {ScriptedGrants::Neither(), false},
               {ScriptedGrants::Bookmark(home_.Beside("gone")), true}};
  const CFStringRef key = platform::StringFromUTF8("\xC3\xBC\xF0\x9F\x98\x80");
  for (const auto& c : cases) {
    grants_.preferences["\xC3\xBC\xF0\x9F\x98\x80"] = c.value;
    bool removed = !c.removed;
    EXPECT_TRUE(manager.InstanceLoadBookmark(key, removed));
    EXPECT_EQ(removed, c.removed) << &c - cases;
  }
  grants_.preferences.clear();
  bool removed = true;
  EXPECT_FALSE(manager.InstanceLoadBookmark(key, removed));
  EXPECT_FALSE(removed);
  EXPECT_THAT(Paths(), ElementsAre(a));
  platform::ReleaseString(key);
}

}  // namespace
