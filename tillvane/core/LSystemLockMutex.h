#pragma once

#include <tillvane/export.h>

/// \file
/// A lock between processes by a name.

/// A lock that processes share: whoever uses the same name excludes the others, threads of one process included.
///
/// It is a System V semaphore whose key is made from the name: 1 when free, 0 when held. The system gives the lock back
/// when its holder's process ends, however it ends. Names are bytes, of which the last seven count, the first of these
/// hardly: put there what tells a name apart, since two names with the same key are the same lock. The set of the
/// semaphore, open to every user, stays in the system when the last process is gone; a process that ends between making
/// it and marking it free leaves it held.
///
/// An object serves one critical section: build it, lock it, do the work, Unlock() it or let it go. It is not
/// synchronised; threads that are to exclude each other have an object each. Nothing here may be called from a signal
/// handler. A child that was forked while its parent holds the lock does not hold it, and must not destroy or unlock
/// its copy of the object, which would free the parent's: it leaves with `_exit`.
class LSystemLockMutex {
 public:
  /// Opens the semaphore of this name, or makes it, free. A failure is not reported: no Lock() will succeed.
  /// \param name copied nowhere; null is the empty name
  TILLVANE_API explicit LSystemLockMutex(const char* name);

  /// Releases the lock if it is held through this object, as Unlock() does.
  TILLVANE_API ~LSystemLockMutex();

  LSystemLockMutex(const LSystemLockMutex&) = delete;
  LSystemLockMutex& operator=(const LSystemLockMutex&) = delete;

  /// Tries to get the lock every 10 ms: once for each 10 ms of `ms`, begun ones included, and at least once. It sleeps
  /// after the last attempt too. Signal handlers shorten no sleep; 0xFFFFFFFF is nearly fifty days.
  /// \return false when the time passed, and at once, with errno, when there is no semaphore (EINVAL) or the system
  /// refuses
  TILLVANE_API bool Lock(unsigned int ms);

  /// Waits for the lock without a limit. It comes back without the lock, and does not say so, when there is no
  /// semaphore, when it is removed meanwhile, and when a signal handler interrupts the wait.
  TILLVANE_API void LockForever();

  /// Gives the lock back; does nothing unless it is held through this object. Afterwards this object has no semaphore
  /// any more. One that was free already, though held by this process, is out of step and is removed from the system.
  /// When the system refuses the lock stays held, and the object's end tries once more.
  TILLVANE_API void Unlock();

 private:
  friend struct LSystemLockMutexLayout;

  bool Take(int flags);

  int key_;
  int identifier_;
  bool held_ = false;
};
