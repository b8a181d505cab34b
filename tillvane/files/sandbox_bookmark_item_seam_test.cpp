#include <gmock/gmock.h>

#include <tests/support/scripted_grants.h>
#include <tillvane/files/LPlatformURL.h>
#include <tillvane/files/LSandboxBookmark.h>

namespace {

using support::ScriptedGrants;
using testing::ElementsAre;
using testing::IsEmpty;

class SandboxBookmarkItem : public testing::Test {
 protected:
  ~SandboxBookmarkItem() override { EXPECT_EQ(grants_.urls, 0); }

  ScriptedGrants grants_;
};

TEST_F(SandboxBookmarkItem, IsNeitherKeptNorAccessedAtFirst) {
  const LSandboxBookmarkItem item;
  EXPECT_EQ(item.next, nullptr);
  EXPECT_STREQ(item.path, "");
  EXPECT_EQ(item.url, nullptr);
  EXPECT_FALSE(item.persisted);
  EXPECT_STREQ(item.key, "");
  EXPECT_FALSE(item.accessing);
  EXPECT_TRUE(item.flag);
}

TEST_F(SandboxBookmarkItem, AccessIsOnOrOff) {
  LSandboxBookmarkItem item;
  item.url = grants_.Grant("/a");
  item.StopAccessingSecurityScopedResource();
  EXPECT_THAT(grants_.TakeCalls(), IsEmpty());
  item.StartAccessingSecurityScopedResource();
  item.StartAccessingSecurityScopedResource();
  EXPECT_TRUE(item.accessing);
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("start /a"));
  item.StopAccessingSecurityScopedResource();
  item.StopAccessingSecurityScopedResource();
  EXPECT_FALSE(item.accessing);
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("stop /a"));
}

TEST_F(SandboxBookmarkItem, ItsEndStopsTheAccessAndGivesTheURLBack) {
  LPlatformURL* const url = LPlatformURLCreate("/a");
  {
    LSandboxBookmarkItem item;
    item.url = url;
    item.StartAccessingSecurityScopedResource();
  }
  EXPECT_THAT(grants_.TakeCalls(), ElementsAre("start /a", "stop /a"));
}

TEST_F(SandboxBookmarkItem, AURLMayNotKnowOfAccess) {
  grants_.knows_access = false;
  LSandboxBookmarkItem item;
  item.url = grants_.Grant("/a");
  item.StartAccessingSecurityScopedResource();
  EXPECT_FALSE(item.accessing);
  item.accessing = true;
  item.StopAccessingSecurityScopedResource();
  EXPECT_TRUE(item.accessing);
}

TEST_F(SandboxBookmarkItem, MayHaveNoURL) {
  LSandboxBookmarkItem item;
  item.StartAccessingSecurityScopedResource();
  item.StopAccessingSecurityScopedResource();
  EXPECT_FALSE(item.accessing);
  EXPECT_EQ(LPlatformURLCreate(nullptr), nullptr);
  EXPECT_EQ(LPlatformURLCreate(""), nullptr);
  LPlatformURLRelease(nullptr);
}

}  // namespace
