#pragma once

#include <sys/stat.h>

namespace support {

/// Another file-creation mask of this process for as long as this lives.
class FileMask {
 public:
  explicit FileMask(mode_t mask) : before_(umask(mask)) {}
  ~FileMask() { umask(before_); }
  FileMask(const FileMask&) = delete;
  FileMask& operator=(const FileMask&) = delete;

 private:
  const mode_t before_;
};

}  // namespace support
