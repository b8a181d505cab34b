#pragma once

#include <dirent.h>

namespace platform {

/// Walks through the processes that /proc shows, by their numbers. One that ends meanwhile may come or not.
class ProcessWalk {
 public:
  ProcessWalk();
  ~ProcessWalk();
  ProcessWalk(const ProcessWalk&) = delete;
  ProcessWalk& operator=(const ProcessWalk&) = delete;

  /// \return the next one's number, which is what its folder is called, until the next call; null when there is none
  const char* Next();

  /// The walk ended before the last process.
  bool HasFailed() const { return has_failed_; }

  /// The descriptor of /proc; negative, and no walk, when it cannot be opened.
  int Folder() const { return folder_; }

 private:
  bool ReadMore();

  int folder_;
  bool has_failed_;
  const char* next_ = entries_;
  const char* end_ = entries_;
  // For more than a thousand processes at a time.
  alignas(dirent64) char entries_[32 * 1024];
};

}  // namespace platform
