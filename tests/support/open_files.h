#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <tests/support/temp_folder.h>

/// \file
/// Descriptors with something to read. What a test needs and does not get ends the process.

namespace support {

inline void RequireFileCall(bool worked, const char* call) {
  if (worked) return;
  std::perror(call);
  std::abort();
}

/// A file of its own folder, open for reading and writing from its beginning.
class OpenFile {
 public:
  explicit OpenFile(const std::string& bytes = "", int flags = O_RDWR)
      : path_(folder_.Write("file", bytes)), descriptor_(open(path_.c_str(), flags | O_CLOEXEC)) {
    RequireFileCall(descriptor_ >= 0, "open");
  }
  ~OpenFile() { close(descriptor_); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int Descriptor() const { return descriptor_; }
  /// Other bytes, to be read from their beginning.
  void Fill(const std::string& bytes) const {
    RequireFileCall(ftruncate(descriptor_, 0) == 0, "ftruncate");
    const auto size = static_cast<ssize_t>(bytes.size());
    RequireFileCall(pwrite(descriptor_, bytes.data(), bytes.size(), 0) == size, "pwrite");
    RequireFileCall(lseek(descriptor_, 0, SEEK_SET) == 0, "lseek");
  }
  long long Offset() const { return lseek(descriptor_, 0, SEEK_CUR); }
  std::string Bytes() const {
    std::string bytes(std::filesystem::file_size(path_), '\0');
    std::ifstream(path_, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
  }

 private:
  const TempFolder folder_;
  const std::string path_;
  const int descriptor_;
};

/// A pipe that holds bytes, fewer than 64 KiB, until it is read empty.
class FilledPipe {
 public:
  explicit FilledPipe(const std::string& bytes) {
    int ends[2];
    RequireFileCall(pipe(ends) == 0, "pipe");
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    RequireFileCall(write(ends[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
    close(ends[1]);
    descriptor_ = ends[0];
  }
  ~FilledPipe() { close(descriptor_); }
  FilledPipe(const FilledPipe&) = delete;
  FilledPipe& operator=(const FilledPipe&) = delete;

  int Descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

}  // namespace support
