#include <tillvane/platform/known_folders.h>

#import <Foundation/Foundation.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tillvane/files/LFile.h>
#include <tillvane/files/LSpecialFolder.h>
#include <tillvane/platform/mac/autorelease_pool_mac.h>

#include "made_up_account.h"

namespace {

using platform::FolderDomain;
using platform::FolderKind;
using platform::KnownFolders;

using Texts = std::vector<std::string>;

Texts FoldersOfFoundation(NSSearchPathDirectory kind, NSSearchPathDomainMask domain) {
  const platform::AutoreleasePool pool;
  NSEnumerator* const paths = [NSSearchPathForDirectoriesInDomains(kind, domain, YES) objectEnumerator];
  Texts folders;
  while (NSString* const path = [paths nextObject]) folders.push_back([path fileSystemRepresentation]);
  return folders;
}

mode_t PermissionsOf(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 0777 : 0;
}

TEST(KnownFoldersOfFoundation, TheHome) {
  EXPECT_EQ(platform::HomeFolder(), MadeUpHome());
  EXPECT_EQ(platform::AccountHome(), MadeUpHome());
  char home[260];
  LFile::GetUserFolder(home);
  EXPECT_EQ(home, MadeUpHome());
}

TEST(KnownFoldersOfFoundation, AreThoseOfTheSearchPath) {
  const struct {
    FolderKind kind;
    NSSearchPathDirectory directory;
  } cases[] = {
      {FolderKind::kApplications, NSApplicationDirectory},
      {FolderKind::kDocuments, NSDocumentDirectory},
      {FolderKind::kDesktop, NSDesktopDirectory},
      {FolderKind::kDownloads, NSDownloadsDirectory},
      {FolderKind::kMovies, NSMoviesDirectory},
      {FolderKind::kMusic, NSMusicDirectory},
      {FolderKind::kPictures, NSPicturesDirectory},
  };
  for (const auto& one : cases) {
    SCOPED_TRACE(static_cast<unsigned int>(one.kind));
    EXPECT_EQ(KnownFolders(one.kind, FolderDomain::kUser), FoldersOfFoundation(one.directory, NSUserDomainMask));
    EXPECT_EQ(KnownFolders(one.kind, FolderDomain::kLocal), FoldersOfFoundation(one.directory, NSLocalDomainMask));
  }
  EXPECT_EQ(KnownFolders(FolderKind::kDocuments, FolderDomain::kUser), Texts{MadeUpHome() + "/Documents"});
  EXPECT_FALSE(KnownFolders(FolderKind::kApplications, FolderDomain::kLocal).empty());
}

TEST(KnownFoldersOfFoundation, OnlyTheFolderForDataIsMadeAndOnlyForWriters) {
  mkdir((MadeUpHome() + "/GNUstep").c_str(), 0700);
  mkdir((MadeUpHome() + "/GNUstep/Library").c_str(), 0700);
  const std::string folder = platform::ApplicationSupportFolder();
  EXPECT_EQ(Texts{folder}, FoldersOfFoundation(NSApplicationSupportDirectory, NSUserDomainMask));
  EXPECT_EQ(PermissionsOf(folder), 0700u);
  ASSERT_EQ(rmdir(folder.c_str()), 0);
  EXPECT_EQ(KnownFolders(FolderKind::kApplicationSupport, FolderDomain::kUser), Texts{folder});
  EXPECT_EQ(PermissionsOf(folder), 0u) << "a question makes nothing";
  for (const char* made : {"/Documents", "/Downloads", "/Music"}) EXPECT_EQ(PermissionsOf(MadeUpHome() + made), 0u);
}

TEST(KnownFoldersOfFoundation, OfAKindWithoutAFolderTheFallbackIsMade) {
  EXPECT_EQ(KnownFolders(FolderKind{12345}, FolderDomain::kUser), Texts());
  const std::string fallback = MadeUpHome() + "/Somewhere";
  char folder[260];
  GetUserSpecialFolder(folder, 12345, "Somewhere");
  EXPECT_EQ(folder, fallback);
  EXPECT_NE(PermissionsOf(fallback), 0u);
  EXPECT_EQ(rmdir(fallback.c_str()), 0);
}

TEST(KnownFoldersOfFoundation, TheFolderOfTemporaryFilesIsWrittenAsTheSystemDoes) {
  const platform::AutoreleasePool pool;
  EXPECT_EQ(platform::TemporaryFolder(), [NSTemporaryDirectory() fileSystemRepresentation]);
  EXPECT_TRUE(platform::TemporaryFolder().starts_with('/'));
}

}  // namespace
