#pragma once

#include <new>

namespace platform {

/// An object that is made and never destroyed: what the host runs at its end may still come back to it. Whoever keeps
/// one lets go of descriptors, threads and sources when the library ends.
template <class T>
class NeverDestroyed {
 public:
  NeverDestroyed() : object_(*new (&storage_) T) {}
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;
  T& Get() { return object_; }

 private:
  alignas(T) unsigned char storage_[sizeof(T)];
  T& object_;
};

}  // namespace platform
