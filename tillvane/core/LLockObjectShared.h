#pragma once

#include <pthread.h>

#include <atomic>

#include <tillvane/core/LSignalObject.h>
#include <tillvane/export.h>

/// \file
/// A readers-writer lock inside one process.

/// A readers-writer lock inside one process that turns from shared to exclusive and back. It takes no system call as
/// long as nobody has to wait.
///
/// Readers go first: as long as one of them reads, others come in, also past a writer that waits, and only the last one
/// to leave lets it in. Nothing is recursive in exclusive use; a thread may hold the lock shared several times as long
/// as nobody upgrades, which closes it to further readers, and whoever upgrades holds it once. None of the calls checks
/// that the caller holds what it gives up. Any thread may call them, no signal handler may. The lock is destroyed when
/// every call has returned.
///
/// When the process was out of descriptors as the lock was made, it works all the same, but whoever waits looks again
/// every millisecond.
class LLockObjectShared {
 public:
  TILLVANE_API LLockObjectShared();
  TILLVANE_API ~LLockObjectShared();
  LLockObjectShared(const LLockObjectShared&) = delete;
  LLockObjectShared& operator=(const LLockObjectShared&) = delete;

  /// Waits while another thread holds the lock exclusively or waits in UpgradeLock().
  TILLVANE_API void LockShared();

  /// Never waits. May be another thread than the one that locked.
  TILLVANE_API void UnlockShared();

  /// Waits until nobody holds the lock in any way. The same thread must unlock it.
  TILLVANE_API void LockExclusive();

  /// Lets the others in: readers, or one writer. Never waits.
  TILLVANE_API void UnlockExclusive();

  /// From shared to exclusive: new readers stay out from here on, and it waits until all others have left. A writer may
  /// have been in between, so that what was read before has to be read again.
  ///
  /// Two threads that upgrade at the same time wait for each other, for ever: a program has one upgrader at a time.
  TILLVANE_API void UpgradeLock();

  /// From exclusive to shared, without letting a writer in between. Never waits.
  TILLVANE_API void DowngradeLock();

 private:
  friend struct LLockObjectSharedLayout;

  void Leave();
  bool CloseIfEmpty();
  bool IsEmpty() const;
  void WaitAsWriter();
  void WaitAsUpgrader();
  bool AreReadersStillIn();
  void TellReadersGone();
  void WaitForReadersGone() const;

  pthread_mutex_t guard_ = PTHREAD_MUTEX_INITIALIZER;
  LSignalObject readers_gone_;
  std::atomic<int> count_{0};

  /// The guard is held exclusively: readers that come without it have to go back.
  std::atomic<bool> closed_{false};
  /// A byte is in the pipe, or on its way.
  std::atomic<bool> told_{false};
  /// So many threads are about to wait for readers-gone, or do.
  std::atomic<int> waiting_{0};
};
