#include <tillvane/platform/main_bundle.h>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <tillvane/platform/linux/main_bundle_linux.h>

namespace {

using platform::MainBundleOf;

TEST(MainBundle, FoundFromTheExecutable) {
  const struct {
    std::string executable, application_folder, path, resources, name;
  } cases[] = {
      // A bundle.
      {"/opt/Shop.app/Contents/MacOS/shop", "", "/opt/Shop.app", "/opt/Shop.app/Contents/Resources", "Shop"},
      {"/opt/Shop.app/Contents/Linux/x86_64/shop", "", "/opt/Shop.app", "/opt/Shop.app/Contents/Resources", "Shop"},
      {"/opt/Shop.app/Contents/shop", "", "/opt/Shop.app", "/opt/Shop.app/Contents/Resources", "Shop"},
      {"/My Shop.app/Contents/MacOS/shop", "", "/My Shop.app", "/My Shop.app/Contents/Resources", "My Shop"},
      {"/a.b.app/Contents/c", "", "/a.b.app", "/a.b.app/Contents/Resources", "a.b"},
      // The nearest one of several.
      {"/A.app/Contents/B.app/Contents/MacOS/b", "", "/A.app/Contents/B.app",
       "/A.app/Contents/B.app/Contents/Resources", "B"},
      {"/A.app/Contents/B.app/b", "", "/A.app", "/A.app/Contents/Resources", "A"},
      // It goes before the application folder.
      {"/mnt/A.app/Contents/a", "/mnt", "/mnt/A.app", "/mnt/A.app/Contents/Resources", "A"},
      // No bundle.
      {"/opt/Shop.app/MacOS/shop", "", "/opt/Shop.app/MacOS", "/opt/Shop.app/MacOS", "shop"},
      {"/opt/Shop.app/Contents", "", "/opt/Shop.app", "/opt/Shop.app", "Contents"},
      {"/opt/Shop.app/Contents.old/shop", "", "/opt/Shop.app/Contents.old", "/opt/Shop.app/Contents.old", "shop"},
      {"/opt/Shop.App/Contents/shop", "", "/opt/Shop.App/Contents", "/opt/Shop.App/Contents", "shop"},
      {"/opt/Shopapp/Contents/shop", "", "/opt/Shopapp/Contents", "/opt/Shopapp/Contents", "shop"},
      {"/opt/.app/Contents/shop", "", "/opt/.app/Contents", "/opt/.app/Contents", "shop"},
      {"/Contents/shop", "", "/Contents", "/Contents", "shop"},
      {"/usr/bin/shop", "", "/usr/bin", "/usr/bin", "shop"},
      {"/shop", "", "/", "/", "shop"},
      {"/usr/bin/shop.app", "", "/usr/bin", "/usr/bin", "shop.app"},
      // The application folder.
      {"/mnt/x/usr/bin/shop", "/mnt/x", "/mnt/x", "/mnt/x", "shop"},
      {"/mnt/x/shop", "/mnt/x", "/mnt/x", "/mnt/x", "shop"},
      {"/mnt/xy/shop", "/mnt/x", "/mnt/xy", "/mnt/xy", "shop"},
      {"/mnt/x", "/mnt/x", "/mnt", "/mnt", "x"},
      {"/usr/bin/shop", "/mnt/x", "/usr/bin", "/usr/bin", "shop"},
      // Where the executable is not known.
      {"", "", "/", "/", "application"},
      {"", "/mnt", "/", "/", "application"},
  };
  for (const auto& c : cases) {
    const platform::MainBundle bundle = MainBundleOf(c.executable, c.application_folder);
    EXPECT_EQ(bundle.path, c.path) << c.executable << " in " << c.application_folder;
    EXPECT_EQ(bundle.resources, c.resources) << c.executable << " in " << c.application_folder;
    EXPECT_EQ(bundle.name, c.name) << c.executable << " in " << c.application_folder;
  }
}

TEST(MainBundle, HasItsInformationWhereTheBundleIsAFolder) {
  const struct {
    std::string executable, application_folder, information;
  } cases[] = {
      {"/opt/Shop.app/Contents/MacOS/shop", "", "/opt/Shop.app/Contents/Info.plist"},
      {"/opt/Shop.app/Contents/shop", "", "/opt/Shop.app/Contents/Info.plist"},
      {"/A.app/Contents/B.app/Contents/MacOS/b", "", "/A.app/Contents/B.app/Contents/Info.plist"},
      {"/mnt/A.app/Contents/a", "/mnt", "/mnt/A.app/Contents/Info.plist"},
      {"/mnt/x/usr/bin/shop", "/mnt/x", "/mnt/x/Info.plist"},
      {"/mnt/xy/shop", "/mnt/x", ""},
      {"/usr/bin/shop", "", ""},
      {"/opt/Shop.app/MacOS/shop", "", ""},
      {"/shop", "", ""},
      {"", "", ""},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(MainBundleOf(c.executable, c.application_folder).information, c.information)
        << c.executable << " in " << c.application_folder;
  }
}

/// $APPDIR for as long as this lives.
class ApplicationFolderVariable {
 public:
  explicit ApplicationFolderVariable(const char* value) {
    if (const char* before = getenv("APPDIR")) before_ = before;
    value == nullptr ? unsetenv("APPDIR") : setenv("APPDIR", value, 1);
  }
  ~ApplicationFolderVariable() { before_.empty() ? unsetenv("APPDIR") : setenv("APPDIR", before_.c_str(), 1); }

 private:
  std::string before_;
};

std::string FolderOfThisTest() { return std::filesystem::canonical("/proc/self/exe").parent_path().string(); }

TEST(MainBundle, OfThisProcess) {
  const ApplicationFolderVariable unset(nullptr);
  EXPECT_EQ(platform::ExecutablePath(), std::filesystem::canonical("/proc/self/exe").string());
  EXPECT_EQ(platform::MainBundlePath(), FolderOfThisTest());
  EXPECT_EQ(platform::MainBundleResourcesPath(), FolderOfThisTest());
  EXPECT_EQ(platform::MainBundleName(), std::filesystem::canonical("/proc/self/exe").filename().string());
}

TEST(MainBundle, ApplicationFolderIsResolved) {
  const std::string parent = std::filesystem::path(FolderOfThisTest()).parent_path().string();
  if (parent == "/") GTEST_SKIP() << "the test lies directly in a folder of the root";
  const std::string roundabout = FolderOfThisTest() + "/.././";
  const ApplicationFolderVariable variable(roundabout.c_str());
  EXPECT_EQ(platform::MainBundlePath(), parent);
  EXPECT_EQ(platform::MainBundleResourcesPath(), parent);
}

TEST(MainBundle, ApplicationFolderThatSaysNothingIsPassedOver) {
  for (const char* value : {"", ".", "..", "/", "//", "/usr/..", "/no/such/folder", "/proc"}) {
    const ApplicationFolderVariable variable(value);
    EXPECT_EQ(platform::MainBundlePath(), FolderOfThisTest()) << value;
  }
}

/// A folder that is removed in the end.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "main_bundle_XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    path_ = std::filesystem::canonical(path_).string();
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

/// Runs a copy of this test under another name, which changes its own file and answers whether it still knows its path.
bool KnowsItsPath(const std::string& copy, const char* change) {
  std::filesystem::copy_file("/proc/self/exe", copy, std::filesystem::copy_options::overwrite_existing);
  const pid_t child = fork();
  if (child == 0) {
    setenv("MAIN_BUNDLE_CHANGE", change, 1);
    execl(copy.c_str(), copy.c_str(), "--gtest_also_run_disabled_tests",
          "--gtest_filter=MainBundle.DISABLED_WhoseFileChanges", "--gtest_brief=1", nullptr);
    _exit(127);
  }
  int status = -1;
  return waitpid(child, &status, 0) == child && status == 0;
}

/// Runs in the copy only.
TEST(MainBundle, DISABLED_WhoseFileChanges) {
  const char* variable = getenv("MAIN_BUNDLE_CHANGE");
  if (variable == nullptr) GTEST_SKIP() << "runs in a copy of the test";
  const std::string change = variable;
  const std::string path = platform::ExecutablePath();
  const std::string name = platform::MainBundleName();
  if (change == "none") {
    EXPECT_EQ(name, "host (deleted)");
    return;
  }
  EXPECT_EQ(name, "host");
  ASSERT_EQ(unlink(path.c_str()), 0);
  if (change == "replaced") std::ofstream(path) << "newer";
  // Named like what the kernel now says.
  if (change == "imitated") std::ofstream(path + " (deleted)") << "other";
  EXPECT_EQ(platform::ExecutablePath(), path);
  EXPECT_EQ(platform::MainBundleName(), name);
}

TEST(MainBundle, NameStaysWhenTheExecutableIsReplacedOrRemoved) {
  const TemporaryFolder folder;
  for (const char* change : {"replaced", "removed", "imitated"}) {
    EXPECT_TRUE(KnowsItsPath(folder.Path() + "/host", change)) << change;
  }
  EXPECT_TRUE(KnowsItsPath(folder.Path() + "/host (deleted)", "none"));
}

}  // namespace
