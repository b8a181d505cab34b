#pragma once

#include <atomic>

#include <tillvane/diag/LDebugThread.h>

namespace diag {

inline constexpr unsigned int kMostThreads = 64;
inline constexpr unsigned int kFree = 0xFFFFFFFF;
inline constexpr unsigned int kClaimed = 0xFFFFFFFE;
inline constexpr unsigned int kNoRecord = 0xFFFFFFFF;

/// The registry's words as threads see them that do not hold its lock.
inline std::atomic_ref<unsigned int> Shared(unsigned int& word) { return std::atomic_ref<unsigned int>(word); }

/// The first record of a thread, by its place; kNoRecord when it has none. For a thread's own, no lock is needed: while
/// it has a record the count stays above it. May be called in a signal handler.
unsigned int FindRecord(unsigned int id);

/// Holds the registry's lock for as long as it lives.
class RegistryLock {
 public:
  RegistryLock();
  ~RegistryLock() {
    if (held_) pthread_mutex_unlock(&loDebugThreads);
  }
  RegistryLock(const RegistryLock&) = delete;
  RegistryLock& operator=(const RegistryLock&) = delete;

  /// Not when the library has come to its end: a thread that still runs then leaves the registry alone.
  bool IsHeld() const { return held_; }

 private:
  bool held_;
};

/// The registry's life: made when the library is loaded, destroyed when it is unloaded.
class ThreadRegistry {
 public:
  ThreadRegistry();
  ~ThreadRegistry();
  ThreadRegistry(const ThreadRegistry&) = delete;
  ThreadRegistry& operator=(const ThreadRegistry&) = delete;
};

}  // namespace diag
