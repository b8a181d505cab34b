#include <tillvane/platform/scoped_url.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/foundation_text_mac.h>

namespace platform {

LPlatformURL* CreateScopedURL(const char* path) {
  const AutoreleasePool pool;
  NSString* const text = FoundationText(path);
  return [text length] > 0 ? [[NSURL alloc] initFileURLWithPath:text] : nil;
}

void RetainScopedURL(LPlatformURL* url) { [url retain]; }

void ReleaseScopedURL(LPlatformURL* url) { [url release]; }

std::string ScopedURLPath(LPlatformURL* url) {
  const AutoreleasePool pool;
  return PlainText([url path]);
}

bool StartScopedAccess(LPlatformURL* url) {
  const AutoreleasePool pool;
  if (![url respondsToSelector:@selector(startAccessingSecurityScopedResource)]) return false;
  [url startAccessingSecurityScopedResource];
  return true;
}

bool StopScopedAccess(LPlatformURL* url) {
  const AutoreleasePool pool;
  if (![url respondsToSelector:@selector(stopAccessingSecurityScopedResource)]) return false;
  [url stopAccessingSecurityScopedResource];
  return true;
}

std::optional<std::vector<unsigned char>> ScopedBookmark(LPlatformURL* url) {
  const AutoreleasePool pool;
  NSError* error = nil;
  NSData* const data = [url bookmarkDataWithOptions:NSURLBookmarkCreationWithSecurityScope
                     includingResourceValuesForKeys:nil
                                      relativeToURL:nil
                                              error:&error];
  if (data == nil || error != nil) return std::nullopt;
  std::vector<unsigned char> bookmark([data length]);
  [data getBytes:bookmark.data() length:bookmark.size()];
  return bookmark;
}

ResolvedBookmark ResolveScopedBookmark(const std::vector<unsigned char>& bookmark) {
  const AutoreleasePool pool;
  NSError* error = nil;
  NSURL* const url = [NSURL URLByResolvingBookmarkData:[NSData dataWithBytes:bookmark.data() length:bookmark.size()]
                                               options:NSURLBookmarkResolutionWithSecurityScope
                                         relativeToURL:nil
                                   bookmarkDataIsStale:NULL
                                                 error:&error];
  if (error != nil) return {nullptr, true};
  return {[url retain], false};
}

// The system is asked for each: what it keeps between them is its own affair.
void BeginResolvingMany() {}
void EndResolvingMany() {}

}  // namespace platform
