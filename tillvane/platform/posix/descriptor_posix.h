#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform {

/// An open descriptor, or none; closed at the end, which leaves errno as it was.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (!IsOpen()) return;
    const int error = errno;
    close(descriptor_);
    errno = error;
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  bool IsOpen() const { return descriptor_ >= 0; }
  int Get() const { return descriptor_; }
  int Release() { return std::exchange(descriptor_, -1); }

 private:
  int descriptor_;
};

}  // namespace platform
