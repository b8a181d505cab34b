#include <string>

#include <gmock/gmock.h>

#include <tests/support/bookmark_manager.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using SandboxBookmarksKept = support::BookmarkManagerTest;

TEST_F(SandboxBookmarksKept, AGrantIsListedAndThenWritten) {
  const LSandboxBookmarkManager& manager = Create();
  Add("/granted/a", true, "a");
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("start /granted/a", "list SECURITY_BOOKMARK_KEYS: a", "synchronize",
                                               "bookmark /granted/a", "data a: bookmark of /granted/a", "synchronize"));
  EXPECT_STREQ(manager.items.head->key, "a");
  EXPECT_TRUE(manager.items.head->persisted);
}

TEST_F(SandboxBookmarksKept, AKeyIsListedOnce) {
  LSandboxBookmarkManager& manager = Create();
  for (const char* key : {"b", "a", "b", "a"}) manager.InstanceAddKey(key);
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("list SECURITY_BOOKMARK_KEYS: b", "synchronize",
                                               "list SECURITY_BOOKMARK_KEYS: b a", "synchronize"));
  EXPECT_THAT(Keys(), ElementsAre("b", "a"));
}

TEST_F(SandboxBookmarksKept, AnItemThatWasAddedCanBeKeptLater) {
  Create();
  Add("/granted/a");
  grants_.TakeCalls();
  EXPECT_FALSE(LSandboxBookmarkManager::AddFilePathToSettings("/granted/b", false, "b"));
  EXPECT_THAT(grants_.TakeCalls(), IsEmpty());
  EXPECT_TRUE(LSandboxBookmarkManager::AddFilePathToSettings("/granted/a", false, "a"));
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("list SECURITY_BOOKMARK_KEYS: a", "synchronize", "bookmark /granted/a",
                                               "data a: bookmark of /granted/a", "synchronize"));
  EXPECT_FALSE(LSandboxBookmarkManager::AddFilePathToSettings("/granted/a", true, "a")) << "it is kept already";
  EXPECT_THAT(grants_.TakeCalls(), IsEmpty());
}

// Of one that is kept, only the key is another one then.
TEST_F(SandboxBookmarksKept, AnotherKeyIsTakenDown) {
  const LSandboxBookmarkManager& manager = Create();
  Add("/granted/a", true, "a");
  grants_.TakeCalls();
  EXPECT_FALSE(LSandboxBookmarkManager::AddFilePathToSettings("/granted/a", false, "b"));
  EXPECT_STREQ(manager.items.head->key, "b");
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("list SECURITY_BOOKMARK_KEYS: a b", "synchronize"));
}

TEST_F(SandboxBookmarksKept, WithoutABookmarkNothingIsWritten) {
  const LSandboxBookmarkManager& manager = Create();
  grants_.without_bookmark = {"/granted/a"};
  Add("/granted/a", true, "a");
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("start /granted/a", "list SECURITY_BOOKMARK_KEYS: a", "synchronize"));
  EXPECT_FALSE(manager.items.head->persisted);
  LSandboxBookmarkItem item;
  EXPECT_FALSE(LSandboxBookmarkManager::pInstance->InstanceSaveBookmarkToFile(&item, "b")) << "without a URL";
}

TEST_F(SandboxBookmarksKept, WhatCouldNotBeWrittenIsNotKept) {
  const LSandboxBookmarkManager& manager = Create();
  Add("/granted/a");
  grants_.can_synchronize = false;
  EXPECT_FALSE(LSandboxBookmarkManager::AddFilePathToSettings("/granted/a", false, "a"));
  EXPECT_FALSE(manager.items.head->persisted);
  EXPECT_TRUE(grants_.preferences.count("a"));
  grants_.can_synchronize = true;
  EXPECT_TRUE(LSandboxBookmarkManager::AddFilePathToSettings("/granted/a", false, "a"));
  EXPECT_TRUE(manager.items.head->persisted);
}

TEST_F(SandboxBookmarksKept, AllAreMadeAnewWithOneWait) {
  LSandboxBookmarkManager& manager = Create();
  Add("/granted/a", true, "a");
  Add("/granted/b", true, "b");
  Add("/granted/not to be kept");
  grants_.can_synchronize = false;
  Add("/granted/not kept", true, "d");
  grants_.can_synchronize = true;
  Add("/granted/c", true, "c");
  grants_.preferences["b"] = support::Bytes{1};
  grants_.without_bookmark = {"/granted/b"};
  grants_.TakeCalls();
  manager.InstanceSaveBookmarksToFile();
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("bookmark /granted/c", "data c: bookmark of /granted/c",
                                               "bookmark /granted/a", "data a: bookmark of /granted/a", "synchronize"));
  EXPECT_EQ(grants_.preferences["b"], support::Value(support::Bytes{1}));
  EXPECT_TRUE(manager.InstanceGetItem("/granted/b")->persisted);
}

TEST_F(SandboxBookmarksKept, ALongKeyIsCutBetweenCharacters) {
  const LSandboxBookmarkManager& manager = Create();
  const std::string cases[][2] = {
      {std::string(259, 'k'), std::string(259, 'k')},
      {std::string(260, 'l'), std::string(259, 'l')},
      {std::string(258, 'm') + "\xC3\xBC", std::string(258, 'm')},
      {std::string(5000, 'n'), std::string(259, 'n')},
  };
  for (const auto& [key, cut] : cases) {
    Add("/granted/" + key.substr(0, 1), true, key.c_str());
    EXPECT_EQ(manager.items.head->key, cut);
    EXPECT_EQ(Keys().back(), cut);
    EXPECT_TRUE(grants_.preferences.count(cut)) << cut;
  }
}

TEST_F(SandboxBookmarksKept, ALongKeyIsCutInEachCall) {
  LSandboxBookmarkManager& manager = Create();
  Add("/granted/a");
  const std::string cut(258, 'k'), key = cut + "\xC3\xBC";
  manager.InstanceAddKey(key.c_str());
  EXPECT_THAT(Keys(), ElementsAre(cut));
  EXPECT_THAT(StoredKeys(), ElementsAre(cut));
  EXPECT_TRUE(manager.InstanceSaveBookmarkToFile(manager.items.head, key.c_str()));
  EXPECT_TRUE(grants_.preferences.count(cut));
  EXPECT_FALSE(grants_.preferences.count(key));
}

TEST_F(SandboxBookmarksKept, NothingIsKeptUnderWhatIsNoKey) {
  const LSandboxBookmarkManager& manager = Create();
  for (const char* key : {"", "not utf-8 \xFF", "cut \xE2\x82", "\xC0\x80", "SECURITY_BOOKMARK_KEYS"}) {
    Add(std::string("/granted/") + key, true, key);
    EXPECT_FALSE(manager.items.head->persisted) << key;
  }
  EXPECT_TRUE(grants_.preferences.empty());
  EXPECT_EQ(manager.keys->Count(), 0u);
  Add("/granted/more", true, "\xE2\x82\xAC and \xF0\x9F\x98\x80");
  EXPECT_TRUE(manager.items.head->persisted);
}

}  // namespace
