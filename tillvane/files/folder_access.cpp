#include <fcntl.h>
#include <sys/stat.h>

#include <tillvane/files/LFile.h>
#include <tillvane/files/folder_walk.h>

using files::FolderListing;
using files::IsFolder;
using files::WalkPath;

namespace {

constexpr mode_t kEverybody = 0777;

/// A folder that is being listed, and those in which it is met.
struct Level {
  int folder;
  const Level* above;
};

/// Is the folder at a path one of these? To list it once more would change nothing, and where several links lead
/// upwards, the number of ways through them is without end.
bool IsListedAbove(const char* path, const Level* level) {
  struct stat found, listed;
  if (stat(path, &found) != 0) return false;
  for (; level != nullptr; level = level->above) {
    if (fstat(level->folder, &listed) != 0) continue;
    if (found.st_dev == listed.st_dev && found.st_ino == listed.st_ino) return true;
  }
  return false;
}

void OpenEntries(int parent, const char* name, const Level* above, WalkPath& path) {
  FolderListing listing(parent, name);
  const Level level{listing.Descriptor(), above};
  while (const dirent* const next = listing.Next()) {
    const WalkPath::Entry entry(path, next->d_name);
    if (!entry.IsReached()) continue;
    fchmodat(level.folder, next->d_name, kEverybody, 0);
    if (!IsFolder(*next, path.Get())) continue;
    if (next->d_type != DT_DIR && IsListedAbove(path.Get(), &level)) continue;
    OpenEntries(level.folder, next->d_name, &level, path);
  }
}

}  // namespace

void LFile::SetFolderSecurityAllAccess(const char* path) {
  chmod(path, kEverybody);
  WalkPath walk_path(path);
  OpenEntries(AT_FDCWD, path, nullptr, walk_path);
}
