#include "bookmark_double.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cstring>
#include <map>
#include <memory>
#include <string>

#include <tillvane/platform/mac/autorelease_pool_mac.h>

namespace {

constexpr char kMark[] = "bookmark ";

/// What a bookmark's bytes hold.
struct Bookmark {
  char mark[sizeof kMark];
  bool is_scoped;
  dev_t device;
  ino_t inode;
  char path[1024];
};

std::map<std::string, int>& Accesses() {
  static std::map<std::string, int> accesses;
  return accesses;
}

std::string PathOf(NSURL* url) {
  const char* const path = [url isFileURL] ? [[url path] fileSystemRepresentation] : nullptr;
  return path != nullptr ? path : "";
}

void SetError(NSError** error, NSInteger code) {
  if (error != nullptr) *error = [NSError errorWithDomain:NSCocoaErrorDomain code:code userInfo:nil];
}

bool IsSameFile(const Bookmark& bookmark, const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && status.st_dev == bookmark.device && status.st_ino == bookmark.inode;
}

/// Where the file is now, among those that were beside it; empty when it is gone.
std::string FindFile(const Bookmark& bookmark) {
  const std::string path = bookmark.path;
  if (IsSameFile(bookmark, path)) return path;
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(opendir(folder.c_str()), &closedir);
  while (const dirent* entry = listing ? readdir(listing.get()) : nullptr) {
    if (IsSameFile(bookmark, folder + entry->d_name)) return folder + entry->d_name;
  }
  return {};
}

bool Decode(NSData* data, Bookmark* bookmark) {
  if ([data length] != sizeof *bookmark) return false;
  [data getBytes:bookmark length:sizeof *bookmark];
  return std::memcmp(bookmark->mark, kMark, sizeof kMark) == 0 &&
         std::memchr(bookmark->path, '\0', sizeof bookmark->path) != nullptr;
}

}  // namespace

int AccessesUnderWay(NSURL* url) {
  const platform::AutoreleasePool pool;
  return Accesses()[PathOf(url)];
}

@implementation NSURL (Bookmarks)

+ (id)URLByResolvingBookmarkData:(NSData*)data
                         options:(NSURLBookmarkResolutionOptions)options
                   relativeToURL:(NSURL*)base
             bookmarkDataIsStale:(BOOL*)stale
                           error:(NSError**)error {
  Bookmark bookmark{};
  const bool wants_scope = (options & NSURLBookmarkResolutionWithSecurityScope) != 0;
  if (!Decode(data, &bookmark) || (wants_scope && !bookmark.is_scoped)) {
    SetError(error, NSFileReadCorruptFileError);
    return nil;
  }
  const std::string path = FindFile(bookmark);
  if (path.empty()) {
    SetError(error, NSFileReadNoSuchFileError);
    return nil;
  }
  if (stale != nullptr) *stale = path != bookmark.path;
  return [NSURL fileURLWithPath:[NSString stringWithUTF8String:path.c_str()]];
}

- (NSData*)bookmarkDataWithOptions:(NSURLBookmarkCreationOptions)options
    includingResourceValuesForKeys:(NSArray*)keys
                     relativeToURL:(NSURL*)base
                             error:(NSError**)error {
  Bookmark bookmark{};
  const std::string path = PathOf(self);
  struct stat status {};
  if (path.empty() || path.size() >= sizeof bookmark.path || stat(path.c_str(), &status) != 0) {
    SetError(error, NSFileReadNoSuchFileError);
    return nil;
  }
  std::memcpy(bookmark.mark, kMark, sizeof kMark);
  bookmark.is_scoped = (options & NSURLBookmarkCreationWithSecurityScope) != 0;
  bookmark.device = status.st_dev;
  bookmark.inode = status.st_ino;
  path.copy(bookmark.path, sizeof bookmark.path - 1);
  return [NSData dataWithBytes:&bookmark length:sizeof bookmark];
}

- (BOOL)startAccessingSecurityScopedResource {
  if (![self isFileURL]) return NO;
  ++Accesses()[PathOf(self)];
  return YES;
}

- (void)stopAccessingSecurityScopedResource {
  --Accesses()[PathOf(self)];
}

@end
