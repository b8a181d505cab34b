#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace support {

/// A folder for one test, mode 0700, removed with all that is in it at the end.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  /// Absolute, without a slash at the end.
  const std::string& Path() const { return path_; }

  /// The path of a name in the folder.
  std::string File(const std::string& name) const { return path_ + '/' + name; }

  /// Writes a file of mode 0600. \return its path
  std::string Write(const std::string& name, const std::string& text) const;

 private:
  std::string path_;
};

/// Tests' folders are made in memory from here on, where there is such a place: these tests do not cut the power, and a
/// disk would only make them slow.
inline void KeepFoldersInMemory() {
  if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
}

}  // namespace support
