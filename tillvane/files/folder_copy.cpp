#include <fcntl.h>
#include <sys/stat.h>

#include <tillvane/files/LFile.h>
#include <tillvane/files/folder_walk.h>

using files::FolderListing;
using files::WalkPath;

namespace {

bool IsFolder(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

void CopyEntries(FolderListing& listing, WalkPath& source, WalkPath& destination) {
  while (const dirent* const next = listing.Next()) {
    const WalkPath::Entry from(source, next->d_name), to(destination, next->d_name);
    if (!from.IsReached() || !to.IsReached()) continue;
    if (!files::IsFolder(*next, source.Get())) {
      LFile::CopyFile(source.Get(), destination.Get());
      continue;
    }
    if (mkdir(destination.Get(), 0777) != 0 && !IsFolder(destination.Get())) continue;
    FolderListing inner(listing.Descriptor(), next->d_name);
    CopyEntries(inner, source, destination);
  }
}

}  // namespace

void LFile::CopyFolderFiles(const char* source, const char* destination) {
  if (!IsFolder(source)) return;
  if (!IsFolder(destination) && CreateFolderTree(destination) == 0) return;
  FolderListing listing(AT_FDCWD, source);
  WalkPath from(source), to(destination);
  CopyEntries(listing, from, to);
}
