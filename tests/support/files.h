#pragma once

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

/// \file
/// What is on the disk, for tests that change it.

namespace support {

/// The paths of all that is below a folder, relative to it; links are not followed.
inline std::set<std::string> Tree(const std::string& folder) {
  std::set<std::string> paths;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    paths.insert(entry.path().lexically_relative(folder).string());
  }
  return paths;
}

/// Of a link, its own. \return false when nothing is there
inline bool IsThere(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

inline std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void MakeFolder(const std::string& path) { std::filesystem::create_directories(path); }

inline void MakeFile(const std::string& path, const std::string& text = "") {
  std::ofstream(path, std::ios::binary) << text;
}

/// The permission bits.
inline unsigned int Mode(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

/// While it lives an administrator has no more rights than others. The folder becomes one that is still theirs.
class Unprivileged {
 public:
  explicit Unprivileged(const std::string& folder) : was_root_(geteuid() == 0) {
    constexpr uid_t nobody = 65534;
    if (was_root_ && (chown(folder.c_str(), nobody, nobody) != 0 || seteuid(nobody) != 0)) std::abort();
  }
  ~Unprivileged() {
    if (was_root_ && seteuid(0) != 0) std::abort();
  }
  Unprivileged(const Unprivileged&) = delete;
  Unprivileged& operator=(const Unprivileged&) = delete;

 private:
  const bool was_root_;
};

/// A folder in a folder and so on, each named "d", deeper than any path can say; taken away again at the end.
class DeepFolder {
 public:
  DeepFolder(const std::string& top, int depth) : top_(top) {
    int folder = open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (; depth_ < depth && mkdirat(folder, "d", 0700) == 0; ++depth_) {
      const int inner = openat(folder, "d", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
      close(folder);
      folder = inner;
    }
    close(folder);
  }
  ~DeepFolder() { Take(); }
  DeepFolder(const DeepFolder&) = delete;
  DeepFolder& operator=(const DeepFolder&) = delete;

  int Depth() const { return depth_; }

  /// Takes one folder after the other away from the top. \return how many there were
  int Take() {
    const std::string first = top_ + "/d", second = first + "/d", saved = top_ + "/e";
    int count = 0;
    while (IsThere(first)) {
      const bool has_more = rename(second.c_str(), saved.c_str()) == 0;
      if (rmdir(first.c_str()) != 0) break;
      ++count;
      if (has_more) rename(saved.c_str(), first.c_str());
    }
    return count;
  }

 private:
  const std::string top_;
  int depth_ = 0;
};

}  // namespace support
