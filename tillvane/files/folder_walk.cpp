#include <sys/stat.h>
#include <unistd.h>

#include <cstring>

#include <tillvane/files/folder_walk.h>

namespace files {

WalkPath::WalkPath(const char* folder) : length_(FittingLength(folder)) { StorePath(text_, folder, length_); }

WalkPath::Entry::Entry(WalkPath& path, const char* name) : path_(path), folder_length_(path.length_) {
  std::size_t length = folder_length_;
  const char last = length > 0 ? path.text_[length - 1] : '/';
  const std::size_t slash = last == '/' ? 0 : 1;
  const std::size_t name_length = std::strlen(name);
  is_reached_ = last != '\\' && length + slash + name_length <= kPathLength;
  if (!is_reached_) return;
  if (slash != 0) path.text_[length++] = '/';
  std::memcpy(path.text_ + length, name, name_length + 1);
  path.length_ = length + name_length;
}

WalkPath::Entry::~Entry() {
  path_.length_ = folder_length_;
  path_.text_[folder_length_] = '\0';
}

FolderListing::FolderListing(int folder, const char* name) {
  const int descriptor = openat(folder, name, O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor < 0) return;
  stream_ = fdopendir(descriptor);
  if (stream_ == nullptr) close(descriptor);
}

FolderListing::~FolderListing() {
  if (stream_ != nullptr) closedir(stream_);
}

const dirent* FolderListing::Next() {
  if (stream_ == nullptr) return nullptr;
  const dirent* entry = nullptr;
  do {
    entry = readdir(stream_);
  } while (entry != nullptr && (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0));
  return entry;
}

bool IsFolder(const dirent& entry, const char* path) {
  if (entry.d_type == DT_DIR) return true;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return false;
  struct stat status;
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace files
