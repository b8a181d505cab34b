#include <tillvane/platform/scoped_url.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/current_folder.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/files/LPlatformURL.h>
#include <tillvane/platform/linux/file_identity_linux.h>

namespace {

namespace fs = std::filesystem;

using support::MakeFile;
using support::MakeFolder;

struct Release {
  void operator()(LPlatformURL* url) const { LPlatformURLRelease(url); }
};
using URL = std::unique_ptr<LPlatformURL, Release>;

std::string PathOf(const URL& url) { return platform::ScopedURLPath(url.get()); }

std::string PresentPathOf(const std::string& path, const platform::FileIdentity& identity) {
  return platform::PresentPaths().Of(path, identity);
}

class ScopedURL : public testing::Test {
 protected:
  using Bookmark = std::optional<std::vector<unsigned char>>;

  std::string File(const std::string& name) const { return root_ + '/' + name; }

  static Bookmark BookmarkOf(const std::string& path) {
    return platform::ScopedBookmark(URL(LPlatformURLCreate(path.c_str())).get());
  }
  /// \return the path; "error" for one
  static std::string Resolve(const Bookmark& bookmark) {
    if (!bookmark) return "no bookmark";
    const platform::ResolvedBookmark resolved = platform::ResolveScopedBookmark(*bookmark);
    const URL url(resolved.url);
    EXPECT_EQ(resolved.has_failed, url == nullptr);
    return url ? PathOf(url) : "error";
  }
  bool KnowsBirth() const { return platform::IdentityOf(root_).value().has_birth; }

  const support::TempFolder folder_;
  const std::string root_ = fs::canonical(folder_.Path()).string();
};

TEST_F(ScopedURL, IsAnAbsolutePath) {
  const support::CurrentFolder current(root_);
  const std::pair<std::string, std::string> cases[] = {
      {"/a/b", "/a/b"}, {"/a/b/", "/a/b"}, {"/a//", "/a"}, {"/", "/"}, {"//", "/"}, {"x", File("x")}, {"x/", File("x")},
  };
  for (const auto& [path, expected] : cases) EXPECT_EQ(PathOf(URL(LPlatformURLCreate(path.c_str()))), expected) << path;
}

TEST_F(ScopedURL, NoneIsRelativeToAFolderThatIsGone) {
  MakeFolder(File("gone"));
  const support::CurrentFolder current(File("gone"));
  fs::remove(File("gone"));
  EXPECT_EQ(LPlatformURLCreate("x"), nullptr);
  EXPECT_EQ(PathOf(URL(LPlatformURLCreate("/x"))), "/x");
}

TEST_F(ScopedURL, LivesAsLongAsAReference) {
  LPlatformURL* const url = LPlatformURLCreate("/a");
  platform::RetainScopedURL(url);
  LPlatformURLRelease(url);
  EXPECT_EQ(platform::ScopedURLPath(url), "/a");
  EXPECT_TRUE(platform::StartScopedAccess(url));
  EXPECT_TRUE(platform::StopScopedAccess(url));
  LPlatformURLRelease(url);
}

TEST_F(ScopedURL, NoneHasNothing) {
  platform::RetainScopedURL(nullptr);
  platform::ReleaseScopedURL(nullptr);
  EXPECT_EQ(platform::ScopedURLPath(nullptr), "");
  EXPECT_FALSE(platform::StartScopedAccess(nullptr));
  EXPECT_FALSE(platform::StopScopedAccess(nullptr));
  EXPECT_FALSE(platform::ScopedBookmark(nullptr));
}

TEST_F(ScopedURL, ABookmarkLeadsToTheFile) {
  MakeFile(File("a"));
  MakeFolder(File("folder"));
  fs::create_symlink("a", File("link"));
  fs::create_symlink("nowhere", File("dangling"));
  for (const std::string& path : {File("a"), File("folder"), File("link"), File("dangling"), std::string("/")}) {
    EXPECT_EQ(Resolve(BookmarkOf(path)), path);
  }
  EXPECT_FALSE(BookmarkOf(File("nothing")));
  EXPECT_FALSE(BookmarkOf(File(std::string(5000, 'x'))));
}

TEST_F(ScopedURL, ARenamedFileIsFound) {
  if (!KnowsBirth()) GTEST_SKIP() << "the file system knows no time of birth";
  for (const char* name : {"file", "folder", "link"}) {
    const std::string path = File(name), renamed = path + " renamed \xFF";
    if (path.ends_with("file")) MakeFile(path);
    if (path.ends_with("folder")) MakeFolder(path);
    if (path.ends_with("link")) fs::create_symlink("file", path);
    const Bookmark bookmark = BookmarkOf(path);
    ASSERT_EQ(std::rename(path.c_str(), renamed.c_str()), 0);
    EXPECT_EQ(Resolve(bookmark), renamed);
    // Also when another one is in its place.
    MakeFile(path);
    EXPECT_EQ(Resolve(bookmark), renamed);
    fs::remove_all(renamed);
    EXPECT_EQ(Resolve(bookmark), path);
    fs::remove_all(path);
  }
}

TEST_F(ScopedURL, AFileThatIsGoneIsWhereItWas) {
  MakeFolder(File("folder"));
  MakeFolder(File("other"));
  MakeFile(File("folder/a"));
  const Bookmark bookmark = BookmarkOf(File("folder/a"));
  // Only its own folder is searched.
  fs::rename(File("folder/a"), File("other/a"));
  EXPECT_EQ(Resolve(bookmark), File("folder/a"));
  fs::remove_all(File("folder"));
  EXPECT_EQ(Resolve(bookmark), File("folder/a"));
}

TEST_F(ScopedURL, AFileThatWasSavedAnewIsStillTheFile) {
  MakeFile(File("a"));
  const Bookmark bookmark = BookmarkOf(File("a"));
  MakeFile(File("a.new"));
  fs::rename(File("a.new"), File("a"));
  EXPECT_EQ(Resolve(bookmark), File("a"));
}

// File systems give the number of a file that is gone to the next one.
TEST_F(ScopedURL, AnotherFileOfTheSameNumberIsNotTaken) {
  MakeFile(File("a"));
  const Bookmark bookmark = BookmarkOf(File("a"));
  // Times of birth are those of a clock that ticks a hundred times a second or more often.
  support::SleepMs(50);
  fs::remove(File("a"));
  for (int i = 0; i < 100; ++i) MakeFile(File("b" + std::to_string(i)));
  EXPECT_EQ(Resolve(bookmark), File("a"));
  // Whatever this file system does: of the same number, born later.
  MakeFile(File("c"));
  platform::FileIdentity identity = platform::IdentityOf(File("c")).value();
  identity.birth_nanoseconds ^= 1;
  EXPECT_EQ(PresentPathOf(File("d"), identity), "");
  EXPECT_EQ(PresentPathOf(File("c"), identity), "");
}

TEST_F(ScopedURL, ADeviceMayHaveAnotherNumberByNow) {
  if (!KnowsBirth()) GTEST_SKIP() << "the file system knows no time of birth";
  MakeFile(File("a"));
  platform::FileIdentity identity = platform::IdentityOf(File("a")).value();
  EXPECT_EQ(PresentPathOf(File("b"), identity), File("a"));
  identity.device_minor += 1;
  EXPECT_EQ(PresentPathOf(File("a"), identity), File("a"));
  EXPECT_EQ(PresentPathOf(File("b"), identity), File("a"));
}

TEST_F(ScopedURL, WhatIsMountedInTheFolderIsNotTaken) {
  const auto folder = platform::IdentityOf("/dev"), mounted = platform::IdentityOf("/dev/shm");
  if (!folder || !mounted || !mounted->has_birth || folder->device_minor == mounted->device_minor) {
    GTEST_SKIP() << "/dev/shm is not mounted, or knows no time of birth";
  }
  EXPECT_EQ(PresentPathOf("/dev/shm", *mounted), "/dev/shm");
  EXPECT_EQ(PresentPathOf("/dev/another name", *mounted), "");
}

TEST_F(ScopedURL, AmongManyARenameIsSeen) {
  if (!KnowsBirth()) GTEST_SKIP() << "the file system knows no time of birth";
  for (const char* name : {"a", "b"}) MakeFile(File(name));
  const Bookmark a = BookmarkOf(File("a")), b = BookmarkOf(File("b"));
  fs::rename(File("a"), File("a renamed"));
  platform::BeginResolvingMany();
  EXPECT_EQ(Resolve(a), File("a renamed"));
  fs::rename(File("b"), File("c"));
  fs::rename(File("a renamed"), File("b renamed"));
  EXPECT_EQ(Resolve(a), File("a")) << "where it was: not where it is no more";
  platform::EndResolvingMany();
  EXPECT_EQ(Resolve(a), File("b renamed"));
  EXPECT_EQ(Resolve(b), File("c"));
  platform::EndResolvingMany();
}

TEST_F(ScopedURL, WithoutATimeOfBirthAnotherNameIsNotTaken) {
  const platform::FileIdentity identity = platform::IdentityOf("/proc/version").value();
  ASSERT_FALSE(identity.has_birth);
  EXPECT_EQ(PresentPathOf("/proc/version", identity), "/proc/version");
  EXPECT_EQ(PresentPathOf("/proc/another", identity), "");
}

TEST_F(ScopedURL, AFolderThatMayNotBeReadIsNotSearched) {
  MakeFolder(File("folder"));
  MakeFile(File("folder/a"));
  const Bookmark bookmark = BookmarkOf(File("folder/a"));
  fs::rename(File("folder/a"), File("folder/b"));
  ASSERT_EQ(chmod(File("folder").c_str(), 0), 0);
  {
    const support::Unprivileged unprivileged(root_);
    EXPECT_EQ(Resolve(bookmark), File("folder/a"));
  }
  ASSERT_EQ(chmod(File("folder").c_str(), 0700), 0);
}

TEST_F(ScopedURL, AnythingElseIsAnError) {
  EXPECT_EQ(Resolve(std::vector<unsigned char>()), "error");
  EXPECT_EQ(Resolve(std::vector<unsigned char>{1, 2, 3}), "error");
}

}  // namespace
