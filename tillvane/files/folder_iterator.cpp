#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

#include <tillvane/files/LFileFolderIterator.h>
#include <tillvane/files/path_text.h>
#include <tillvane/text/LStringUtilities.h>

using files::kPathSize;
using files::StorePath;

#pragma GCC diagnostic push
// A class with virtual functions has no standard layout; where its fields stand is known all the same.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(LFile::FolderIterator, dir) == sizeof(void*));
static_assert(offsetof(LFile::FolderIterator, entry) == 2 * sizeof(void*));
static_assert(offsetof(LFile::FolderIterator, folder) == 2 * sizeof(void*) + sizeof(dirent));
static_assert(offsetof(LFile::FolderIterator, pattern) == 2 * sizeof(void*) + sizeof(dirent) + kPathSize);
static_assert(sizeof(LFile::FolderIteratorAllFiles) == sizeof(LFile::FolderIterator));
#pragma GCC diagnostic pop

namespace {

// Folders that are left by archivers, with what a file has on macOS besides its bytes.
constexpr char kResourceForks[] = "__MACOSX";

bool IsOfType(const char* path, mode_t type) {
  struct stat status;
  return stat(path, &status) == 0 && (status.st_mode & S_IFMT) == type;
}

void StoreText(char* out, const char* text) { StorePath(out, text, std::strlen(text)); }

/// Only a folder opens.
void OpenStream(LFile::FolderIterator& files, const char* path) {
  if (files.dir != nullptr) closedir(files.dir);
  files.dir = opendir(path);
}

/// Goes to the first entry of a folder whose stream was opened. A folder that did not open is listed as empty.
int Begin(LFile::FolderIterator& files, const char* folder, const char* pattern) {
  if (files.dir != nullptr || IsOfType(folder, S_IFDIR)) {
    StoreText(files.folder, folder);
    StoreText(files.pattern, pattern);
  }
  // This clears the entry, but not before: the folder may be the one of the listing before.
  return files.Next();
}

}  // namespace

LFile::FolderIterator::FolderIterator() : entry{}, folder{}, pattern{} {}

LFile::FolderIterator::~FolderIterator() {
  if (dir != nullptr) closedir(dir);
}

int LFile::FolderIterator::Open(const char* folder_path, const char* name_pattern) {
  OpenStream(*this, folder_path);
  return Begin(*this, folder_path, name_pattern);
}

int LFile::FolderIterator::Open(const char* path) {
  // What opens is no file, and most paths open: only of the others the system is asked what they are.
  OpenStream(*this, path);
  if (dir != nullptr || !IsOfType(path, S_IFREG)) return Begin(*this, path, "*");
  char file_folder[kPathSize], name[kPathSize];
  _GetFolderFromPath(file_folder, path);
  _GetFileFromPath(name, path);
  return Open(file_folder, name[0] != '\0' ? name : "*");
}

int LFile::FolderIterator::Next() {
  while (_GetNextFile() != 0) {
    if (_Matches(entry.d_name)) return 1;
  }
  return 0;
}

int LFile::FolderIterator::_GetNextFile() {
  entry.d_name[0] = '\0';
  if (dir == nullptr) return 0;
  // Every stream has entries of its own: readdir is as good as its reentrant form, and knows longer names.
  while (const dirent* const next = readdir(dir)) {
    const std::size_t size = offsetof(dirent, d_name) + std::strlen(next->d_name) + 1;
    // Cut, a name would be that of another file.
    if (size > sizeof entry) continue;
    std::memcpy(&entry, next, size);
    return 1;
  }
  closedir(std::exchange(dir, nullptr));
  return 0;
}

bool LFile::FolderIterator::_Matches(const char* name) const {
  if (name[0] == '.' || std::strncmp(name, kResourceForks, sizeof kResourceForks - 1) == 0) return false;
  char lower_pattern[kPathSize], lower_name[kPathSize];
  StoreText(lower_pattern, pattern);
  StoreText(lower_name, name);
  return IsMatch<char>(strlwr(lower_pattern), strlwr(lower_name));
}

bool LFile::FolderIteratorAllFiles::_Matches(const char*) const { return true; }
