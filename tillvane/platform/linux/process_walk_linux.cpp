#include <fcntl.h>
#include <unistd.h>

#include <tillvane/platform/linux/process_walk_linux.h>

namespace platform {

ProcessWalk::ProcessWalk() : folder_(open("/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), has_failed_(folder_ < 0) {}

ProcessWalk::~ProcessWalk() {
  if (folder_ >= 0) close(folder_);
}

const char* ProcessWalk::Next() {
  while (next_ != end_ || ReadMore()) {
    const auto* const entry = reinterpret_cast<const dirent64*>(next_);
    next_ += entry->d_reclen;
    // Nothing else there begins with a digit.
    if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') return entry->d_name;
  }
  return nullptr;
}

/// \return whether there was more
bool ProcessWalk::ReadMore() {
  if (has_failed_) return false;
  const ssize_t size = getdents64(folder_, entries_, sizeof entries_);
  has_failed_ = size < 0;
  next_ = entries_;
  end_ = entries_ + (size > 0 ? size : 0);
  return size > 0;
}

}  // namespace platform
