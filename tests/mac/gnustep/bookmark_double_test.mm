#include "bookmark_double.h"

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/temp_folder.h>
#include <tillvane/platform/mac/autorelease_pool_mac.h>

namespace {

/// The double is tested too: what it says of bookmarks is what the library's tests go by.
class BookmarkDouble : public testing::Test {
 protected:
  NSURL* Url(const std::string& name) const {
    return [NSURL fileURLWithPath:[NSString stringWithUTF8String:folder_.File(name).c_str()]];
  }
  static NSData* Make(NSURL* url, NSError** error = nullptr,
                      NSURLBookmarkCreationOptions options = NSURLBookmarkCreationWithSecurityScope) {
    return [url bookmarkDataWithOptions:options includingResourceValuesForKeys:nil relativeToURL:nil error:error];
  }
  static NSURL* Resolve(NSData* data, BOOL* stale = nullptr, NSError** error = nullptr) {
    return [NSURL URLByResolvingBookmarkData:data
                                     options:NSURLBookmarkResolutionWithSecurityScope
                               relativeToURL:nil
                         bookmarkDataIsStale:stale
                                       error:error];
  }
  static std::string PathOf(NSURL* url) { return [[url path] UTF8String]; }

  const support::TempFolder folder_;
  const platform::AutoreleasePool pool_;
};

TEST_F(BookmarkDouble, LeadsBackToItsFile) {
  folder_.Write("a", "");
  NSError* error = nil;
  BOOL stale = YES;
  NSURL* const url = Resolve(Make(Url("a"), &error), &stale, &error);
  EXPECT_EQ(PathOf(url), folder_.File("a"));
  EXPECT_EQ(error, nil);
  EXPECT_FALSE(stale);
}

TEST_F(BookmarkDouble, FollowsARenamedFile) {
  folder_.Write("a", "");
  NSData* const data = Make(Url("a"));
  ASSERT_EQ(std::rename(folder_.File("a").c_str(), folder_.File("b").c_str()), 0);
  folder_.Write("a", "another");
  BOOL stale = NO;
  EXPECT_EQ(PathOf(Resolve(data, &stale)), folder_.File("b"));
  EXPECT_TRUE(stale);
  EXPECT_EQ(PathOf(Resolve(data)), folder_.File("b")) << "nobody need ask";
}

TEST_F(BookmarkDouble, AFileThatIsNotThereIsAnError) {
  NSError* error = nil;
  EXPECT_EQ(Make(Url("none"), &error), nil);
  EXPECT_EQ([error code], NSFileReadNoSuchFileError);
  EXPECT_EQ(Make([NSURL URLWithString:@"http://example.org/"]), nil);
  folder_.Write("a", "");
  NSData* const data = Make(Url("a"));
  ASSERT_EQ(std::remove(folder_.File("a").c_str()), 0);
  error = nil;
  EXPECT_EQ(Resolve(data, nullptr, &error), nil);
  EXPECT_EQ([error code], NSFileReadNoSuchFileError);
}

TEST_F(BookmarkDouble, BytesThatAreNoBookmarkAreAnError) {
  folder_.Write("a", "");
  NSMutableData* const damaged = [[Make(Url("a")) mutableCopy] autorelease];
  static_cast<char*>([damaged mutableBytes])[0] ^= 1;
  NSArray* const bytes = [NSArray
      arrayWithObjects:damaged, [NSData data], [NSMutableData dataWithLength:100'000], Make(Url("a"), nullptr, 0), nil];
  for (NSUInteger i = 0; i < [bytes count]; ++i) {
    NSError* error = nil;
    EXPECT_EQ(Resolve([bytes objectAtIndex:i], nullptr, &error), nil) << i;
    EXPECT_EQ([error code], NSFileReadCorruptFileError) << i;
  }
}

TEST_F(BookmarkDouble, CountsAccesses) {
  NSURL* const url = Url("a");
  EXPECT_TRUE([url startAccessingSecurityScopedResource]);
  EXPECT_TRUE([Url("a") startAccessingSecurityScopedResource]);
  EXPECT_EQ(AccessesUnderWay(url), 2);
  EXPECT_EQ(AccessesUnderWay(Url("b")), 0);
  [url stopAccessingSecurityScopedResource];
  [url stopAccessingSecurityScopedResource];
  EXPECT_EQ(AccessesUnderWay(url), 0);
  EXPECT_FALSE([[NSURL URLWithString:@"http://example.org/"] startAccessingSecurityScopedResource]);
}

}  // namespace
