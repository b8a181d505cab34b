#import <Foundation/Foundation.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <tests/support/temp_folder.h>
#include <tillvane/files/LSandboxBookmark.h>
#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/preferences.h>
#include <tillvane/platform/scoped_url.h>
#include <tillvane/platform/string_array.h>

#include "bookmark_double.h"

namespace {

using testing::ElementsAre;
using Texts = std::vector<std::string>;

constexpr const char* kList = "SECURITY_BOOKMARK_KEYS";

class BookmarksOfFoundation : public testing::Test {
 protected:
  BookmarksOfFoundation() { LSandboxBookmarkManager::Create(); }
  ~BookmarksOfFoundation() {
    LSandboxBookmarkManager::Destroy();
    platform::ReleaseScopedURL(url_);
    EXPECT_EQ(GSDebugAllocationCount([NSURL class]), urls_);
    for (const char* key : {kList, "key", "other", "gone"}) platform::RemovePreference(key);
    platform::SynchronizePreferences();
  }

  void Keep() const { LSandboxBookmarkManager::AddFilePath(path_.c_str(), url_, true, true, "key"); }
  /// The next run finds another list; a manager that ends writes its own.
  static void RestartWith(const Texts& list) {
    LSandboxBookmarkManager::Destroy();
    platform::SetPreferenceTexts(kList, list);
    LSandboxBookmarkManager::Create();
  }
  static LSandboxBookmarkItem* Newest() { return LSandboxBookmarkManager::pInstance->items.head; }
  static Texts Keys() { return platform::StringsOf(LSandboxBookmarkManager::pInstance->keys); }

  const support::TempFolder folder_;
  const std::string path_ = std::filesystem::canonical(folder_.Write("file", "")).string();
  const int urls_ = GSDebugAllocationCount([NSURL class]);
  NSURL* const url_ = platform::CreateScopedURL(path_.c_str());
};

TEST_F(BookmarksOfFoundation, AGrantIsStoredAsTheDefaultsHaveIt) {
  Keep();
  const platform::AutoreleasePool pool;
  NSUserDefaults* const defaults = [NSUserDefaults standardUserDefaults];
  EXPECT_EQ([[defaults arrayForKey:@"SECURITY_BOOKMARK_KEYS"] count], 1u);
  EXPECT_TRUE([[[defaults arrayForKey:@"SECURITY_BOOKMARK_KEYS"] objectAtIndex:0] isEqualToString:@"key"]);
  EXPECT_GT([[defaults dataForKey:@"key"] length], 0u);
  EXPECT_EQ([url_ retainCount], 2u) << "the item's and the caller's";
  EXPECT_EQ(AccessesUnderWay(url_), 1);
}

TEST_F(BookmarksOfFoundation, TheNextRunHasTheGrantAgain) {
  Keep();
  LSandboxBookmarkManager::Destroy();
  EXPECT_EQ([url_ retainCount], 1u);
  EXPECT_EQ(AccessesUnderWay(url_), 0);
  LSandboxBookmarkManager::Create();
  ASSERT_NE(Newest(), nullptr);
  EXPECT_EQ(Newest()->path, path_);
  EXPECT_EQ([Newest()->url retainCount], 1u);
  EXPECT_TRUE(Newest()->persisted && Newest()->accessing);
  EXPECT_EQ(AccessesUnderWay(url_), 1);
  EXPECT_THAT(Keys(), ElementsAre("key"));
}

TEST_F(BookmarksOfFoundation, AKeyWithoutABookmarkIsTakenOffTheList) {
  Keep();
  RestartWith({"gone", "key"});
  EXPECT_THAT(Keys(), ElementsAre("key"));
}

TEST_F(BookmarksOfFoundation, ABookmarkThatCannotBeReadIsDropped) {
  platform::SetPreferenceData("other", {1, 2, 3});
  RestartWith({"other"});
  EXPECT_EQ(Keys(), Texts());
  EXPECT_EQ(Newest(), nullptr);
  EXPECT_FALSE(platform::HasPreference("other"));
}

TEST_F(BookmarksOfFoundation, AKeyMayBeTheSystemsOwnText) {
  Keep();
  LSandboxBookmarkManager::pInstance->items.Clear();
  bool removed = true;
  EXPECT_TRUE(LSandboxBookmarkManager::pInstance->InstanceLoadBookmark(@"key", removed));
  EXPECT_FALSE(removed);
  ASSERT_NE(Newest(), nullptr);
  EXPECT_EQ(Newest()->path, path_);
}

}  // namespace
