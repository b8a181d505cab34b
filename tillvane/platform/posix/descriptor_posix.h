#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

#include <tillvane/core/cancellation.h>

namespace platform {

/// An open descriptor, or none; closed at the end, which leaves errno as it was and is no place where a thread is
/// cancelled.
class Descriptor {
 public:
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() {
    if (!IsOpen()) return;
    const core::CancellationPutOff put_off;
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
