#include <tillvane/platform/scoped_url.h>

#import <Foundation/Foundation.h>
#include <objc/runtime.h>

#include <filesystem>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <tests/support/current_folder.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/mac/autorelease_pool_mac.h>

#include "bookmark_double.h"

namespace {

using platform::ScopedURLPath;
using Bytes = std::vector<unsigned char>;

/// A URL with one reference, this one.
class URL {
 public:
  explicit URL(NSURL* url) : url_(url) {}
  explicit URL(const std::string& path) : URL(platform::CreateScopedURL(path.c_str())) {}
  ~URL() {
    if (url_ != nil) {
      EXPECT_EQ([url_ retainCount], 1u);
    }
    platform::ReleaseScopedURL(url_);
  }
  URL(const URL&) = delete;
  URL& operator=(const URL&) = delete;

  NSURL* Get() const { return url_; }

 private:
  NSURL* const url_;
};

class ScopedURLOfFoundation : public testing::Test {
 protected:
  ~ScopedURLOfFoundation() { EXPECT_EQ(GSDebugAllocationCount([NSURL class]), urls_); }

  std::string File(const std::string& name) const { return root_ + '/' + name; }

  static std::string Resolve(const Bytes& bookmark) {
    const platform::ResolvedBookmark resolved = platform::ResolveScopedBookmark(bookmark);
    const URL url(resolved.url);
    EXPECT_FALSE(resolved.has_failed && url.Get() != nil);
    return url.Get() != nil ? ScopedURLPath(url.Get()) : resolved.has_failed ? "error" : "neither";
  }

  const support::TempFolder folder_;
  const std::string root_ = std::filesystem::canonical(folder_.Path()).string();
  const int urls_ = GSDebugAllocationCount([NSURL class]);
};

TEST_F(ScopedURLOfFoundation, IsAnAbsolutePath) {
  const support::CurrentFolder current(root_);
  const std::pair<std::string, std::string> cases[] = {
      {"/a/b", "/a/b"}, {"/a/b/", "/a/b"}, {"/", "/"}, {"x", File("x")}, {"/\xC3\xBC %20", "/\xC3\xBC %20"},
  };
  for (const auto& [path, expected] : cases) EXPECT_EQ(ScopedURLPath(URL(path).Get()), expected) << path;
  EXPECT_EQ(URL("").Get(), nil);
  EXPECT_EQ(URL("/\xFF").Get(), nil);
}

TEST_F(ScopedURLOfFoundation, LivesAsLongAsAReference) {
  const URL url("/a");
  platform::RetainScopedURL(url.Get());
  EXPECT_EQ([url.Get() retainCount], 2u);
  platform::ReleaseScopedURL(url.Get());
  EXPECT_EQ(ScopedURLPath(url.Get()), "/a");
}

TEST_F(ScopedURLOfFoundation, NoneHasNothing) {
  platform::RetainScopedURL(nil);
  platform::ReleaseScopedURL(nil);
  EXPECT_EQ(ScopedURLPath(nil), "");
  EXPECT_FALSE(platform::StartScopedAccess(nil));
  EXPECT_FALSE(platform::StopScopedAccess(nil));
  EXPECT_FALSE(platform::ScopedBookmark(nil));
}

TEST_F(ScopedURLOfFoundation, TheSystemIsToldOfEachStartAndStop) {
  const URL url(File("a")), elsewhere([[NSURL alloc] initWithString:@"http://example.org/"]);
  EXPECT_TRUE(platform::StartScopedAccess(url.Get()));
  EXPECT_TRUE(platform::StartScopedAccess(url.Get()));
  EXPECT_EQ(AccessesUnderWay(url.Get()), 2);
  EXPECT_TRUE(platform::StopScopedAccess(url.Get()));
  EXPECT_TRUE(platform::StopScopedAccess(url.Get()));
  EXPECT_EQ(AccessesUnderWay(url.Get()), 0);
  EXPECT_TRUE(platform::StartScopedAccess(elsewhere.Get())) << "the system's own answer is not looked at";
  platform::StopScopedAccess(elsewhere.Get());
}

TEST_F(ScopedURLOfFoundation, WhatKnowsOfNoAccessIsNotAsked) {
  NSObject* const object = [[NSObject alloc] init];
  EXPECT_FALSE(platform::StartScopedAccess(static_cast<NSURL*>(static_cast<id>(object))));
  EXPECT_FALSE(platform::StopScopedAccess(static_cast<NSURL*>(static_cast<id>(object))));
  [object release];
}

TEST_F(ScopedURLOfFoundation, ABookmarkLeadsToTheFile) {
  folder_.Write("a", "");
  const auto bookmark = platform::ScopedBookmark(URL(File("a")).Get());
  ASSERT_TRUE(bookmark);
  EXPECT_EQ(Resolve(*bookmark), File("a"));
  std::filesystem::rename(File("a"), File("b"));
  EXPECT_EQ(Resolve(*bookmark), File("b"));
  EXPECT_FALSE(platform::ScopedBookmark(URL(File("a")).Get()));
}

TEST_F(ScopedURLOfFoundation, WhatDoesNotResolve) {
  EXPECT_EQ(Resolve({}), "error");
  EXPECT_EQ(Resolve({1, 2, 3}), "error");
  const Method method = class_getClassMethod(
      [NSURL class], @selector(URLByResolvingBookmarkData:options:relativeToURL:bookmarkDataIsStale:error:));
  id (*const neither)(id, SEL, id, NSUInteger, id, BOOL*, id*) =
      +[](id, SEL, id, NSUInteger, id, BOOL*, id*) -> id { return nil; };
  const IMP own = method_setImplementation(method, reinterpret_cast<IMP>(neither));
  EXPECT_EQ(Resolve({1, 2, 3}), "neither");
  method_setImplementation(method, own);
}

}  // namespace
