#include <tillvane/platform/known_folders.h>

#include <sys/stat.h>

#include <tillvane/platform/mac/autorelease_pool_mac.h>
#include <tillvane/platform/mac/foundation_text_mac.h>

namespace platform {

namespace {

constexpr bool IsSame(FolderKind kind, NSSearchPathDirectory directory) {
  return static_cast<NSUInteger>(kind) == static_cast<NSUInteger>(directory);
}

static_assert(IsSame(FolderKind::kApplications, NSApplicationDirectory) &&
              IsSame(FolderKind::kDocuments, NSDocumentDirectory) && IsSame(FolderKind::kDesktop, NSDesktopDirectory) &&
              IsSame(FolderKind::kApplicationSupport, NSApplicationSupportDirectory) &&
              IsSame(FolderKind::kDownloads, NSDownloadsDirectory) && IsSame(FolderKind::kMovies, NSMoviesDirectory) &&
              IsSame(FolderKind::kMusic, NSMusicDirectory) && IsSame(FolderKind::kPictures, NSPicturesDirectory));

}  // namespace

std::string HomeFolder() {
  const AutoreleasePool pool;
  return PlainText(NSHomeDirectory());
}

std::string ApplicationSupportFolder() {
  const std::vector<std::string> folders = KnownFolders(FolderKind::kApplicationSupport, FolderDomain::kUser);
  std::string folder = folders.empty() ? HomeFolder() + "/Library/Application Support" : folders.front();
  // A new container has none yet.
  mkdir(folder.c_str(), 0700);
  return folder;
}

std::vector<std::string> KnownFolders(FolderKind kind, FolderDomain domain) {
  const AutoreleasePool pool;
  NSArray* const paths =
      NSSearchPathForDirectoriesInDomains(static_cast<NSSearchPathDirectory>(kind),
                                          domain == FolderDomain::kUser ? NSUserDomainMask : NSLocalDomainMask, YES);
  std::vector<std::string> folders;
  for (NSUInteger i = 0; i < [paths count]; ++i) folders.push_back(PlainText([paths objectAtIndex:i]));
  return folders;
}

std::string TemporaryFolder() {
  const AutoreleasePool pool;
  return PlainText(NSTemporaryDirectory());
}

}  // namespace platform
