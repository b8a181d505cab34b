#pragma once

#include <pthread.h>

#include <tillvane/core/LList.h>
#include <tillvane/core/LThread.h>
#include <tillvane/export.h>

class LDetachedThreadsOwner;

/// A thread that deletes itself when its function has returned, unless its owner stops it before. Make it with `new`,
/// hand it to LDetachedThreadsOwner::Add, then start it.
///
/// After StartDetached() has answered 0 it may be gone at any moment: nobody but its owner may touch it. One that could
/// not be started stays in the owner's list; LDetachedThreadsOwner::Destruct deletes it.
class TILLVANE_API LDetachedThread : public LThread {
 public:
  using LThread::LThread;

  /// Starts the thread. It is not put into the owner's list: Add() does that, before.
  /// \return 0; the error number with which the thread could not be made (EBUSY: it runs already), or with which it
  /// could not be given the priority (it runs all the same then)
  int StartDetached(LDetachedThreadsOwner& owner, int priority);

 private:
  friend struct LDetachedThreadLayout;
  friend struct LList<LDetachedThread>;
  friend class LListIterator<LDetachedThread>;
  friend class LDetachedThreadsOwner;

  static void* DetachedThreadCallback(void* data);

  LDetachedThread* next = nullptr;
  LDetachedThreadsOwner* owner_ = nullptr;
};

/// The threads that delete themselves, so that all of them can be stopped together. Any thread, but none of its own
/// threads may stop them all or delete another one that waits for it. It outlives its threads.
class TILLVANE_API LDetachedThreadsOwner {
 public:
  LDetachedThreadsOwner();
  /// Stops them all.
  ~LDetachedThreadsOwner();
  LDetachedThreadsOwner(const LDetachedThreadsOwner&) = delete;
  LDetachedThreadsOwner& operator=(const LDetachedThreadsOwner&) = delete;

  /// Takes a thread that is in no list and does not run. It is the owner's from now on.
  void Add(LDetachedThread* thread);

  /// Asks all threads to stop, and returns at once.
  void StopThreadsSoon();

  /// Asks all threads to stop, waits until they have ended, and deletes them; those that end by themselves meanwhile
  /// have deleted themselves when it returns. Nobody may add or start one at the same time.
  void StopThreadsNow();

  /// Takes a thread out of the list and deletes it, after it was asked to stop and has ended if it runs. Does nothing
  /// when the thread is not in the list.
  void Destruct(LDetachedThread* thread);

 private:
  friend struct LDetachedThreadsOwnerLayout;
  friend class LDetachedThread;

  void Leave(LDetachedThread* thread);
  static pthread_t TakeHandleOf(LDetachedThread* thread);
  static void StopAndDelete(LDetachedThread* thread, pthread_t handle);

  LList<LDetachedThread> threads_;
  pthread_mutex_t list_lock_;
  // Threads that are out of the list and about to delete themselves.
  int leaving_ = 0;
  pthread_cond_t all_left_;
};
