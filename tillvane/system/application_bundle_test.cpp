#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tillvane/platform/main_bundle.h>
#include <tillvane/system/LApplicationBundle.h>
#include <tillvane/system/LCFBundle.h>
#include <tillvane/system/LCFURL.h>

namespace {

// What other layouts give is tested in processes of their own. This one is a bare executable.
TEST(ApplicationBundle, OfABareExecutableIsItsFolder) {
  const std::string folder = platform::MainBundleResourcesPath();
  ASSERT_LT(folder.size(), 240u);
  EXPECT_FALSE(LIsApplicationBundled());
  support::GuardedText path(260);
  LGetInstalledApplicationResourcesFolder(path.Get(), 260);
  EXPECT_EQ(path.Text(), folder);
  LGetInstalledApplicationNestedResourcesFolder(path.Get());
  EXPECT_EQ(path.Text(), folder + "/resources");
  LCFURL url;
  ASSERT_TRUE(url.CreateFromFullPath("/tmp"));
  EXPECT_TRUE(url.CreateFromApplicationBundleResourcesFolder());
  EXPECT_TRUE(url.GetPath(path.Get(), 260));
  EXPECT_EQ(path.Text(), folder);
}

TEST(ApplicationBundle, FolderIsCutToItsRoom) {
  for (unsigned long capacity = 0; capacity < 4; ++capacity) {
    support::GuardedText path(capacity);
    LGetInstalledApplicationResourcesFolder(path.Get(), capacity);
    EXPECT_EQ(path.Text().size(), capacity == 0 ? 0 : capacity - 1);
  }
}

TEST(ApplicationBundle, ABareExecutableHasNoVersion) {
  int major = -77, minor = -78;
  const LCFBundle main;
  EXPECT_FALSE(main.GetVersionNumber(major, minor));
  EXPECT_EQ(main.Get(), platform::MainBundleReference());
  EXPECT_EQ(major, -77);
  EXPECT_EQ(minor, -78);
}

}  // namespace
