// Folders are left as `rmdir` finds them: whether one is gone, and why not, is what that says.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include <tillvane/files/LFile.h>
#include <tillvane/files/folder_walk.h>
#include <tillvane/platform/file_object.h>

using files::FolderListing;
using files::IsFolder;
using files::WalkPath;

namespace {

enum class Flags { kKept, kCleared };

void DeleteFile(int folder, const char* name, const char* path, Flags flags) {
  if (unlinkat(folder, name, 0) == 0 || flags == Flags::kKept || errno != EPERM) return;
  if (platform::ClearFileFlags(path) == 0) unlinkat(folder, name, 0);
}

class TreeDeletion {
 public:
  TreeDeletion(const char* folder, Flags flags) : path_(folder), flags_(flags) {}

  /// Deletes the folder at which the path is: all that is in it, and then itself.
  bool Delete(int parent, const char* name) {
    DeleteEntries(parent, name);
    return unlinkat(parent, name, AT_REMOVEDIR) == 0;
  }

 private:
  void DeleteEntries(int parent, const char* name) {
    FolderListing listing(parent, name);
    while (const dirent* const next = listing.Next()) {
      const WalkPath::Entry entry(path_, next->d_name);
      if (!entry.IsReached()) continue;
      if (IsFolder(*next, path_.Get())) {
        Delete(listing.Descriptor(), next->d_name);
      } else {
        DeleteFile(listing.Descriptor(), next->d_name, path_.Get(), flags_);
      }
    }
  }

  WalkPath path_;
  const Flags flags_;
};

int DeleteTree(const char* folder, Flags flags) {
  return folder[0] != '\0' && TreeDeletion(folder, flags).Delete(AT_FDCWD, folder) ? 1 : 0;
}

void DeleteFiles(const char* folder) {
  FolderListing listing(AT_FDCWD, folder);
  WalkPath path(folder);
  while (const dirent* const next = listing.Next()) {
    const WalkPath::Entry entry(path, next->d_name);
    if (!entry.IsReached() || IsFolder(*next, path.Get())) continue;
    DeleteFile(listing.Descriptor(), next->d_name, path.Get(), Flags::kKept);
  }
}

}  // namespace

int LFile::DeleteFolderAndFiles(const char* folder) {
  // The path of a file is a listing's of the folder that it is in. But nothing has a path below that of a file, so that
  // nothing of it can be deleted, and it need not be listed.
  DeleteFiles(folder);
  return rmdir(folder) == 0 ? 1 : 0;
}

int LFile::DeleteFolderTree(const char* folder) { return DeleteTree(folder, Flags::kKept); }

int LFile::DeleteFolderTreeAlways(const char* folder) { return DeleteTree(folder, Flags::kCleared); }
