#pragma once

#include <pthread.h>

#include <tillvane/core/LList.h>
#include <tillvane/core/LThread.h>
#include <tillvane/export.h>

/// \file
/// Threads that delete themselves when they have ended, and their owner, who can stop all of them.

class LDetachedThreadsOwner;

/// A thread that deletes itself when its function has returned, unless its owner stops it before. Make it with `new`,
/// hand it to LDetachedThreadsOwner::Add, then start it.
///
/// Once it was started it may be gone at any moment: nobody but its owner may touch it. One that could not be made
/// stays in the owner's list, not started; LDetachedThreadsOwner::Destruct deletes it.
class TILLVANE_API LDetachedThread : public LThread {
 public:
  using LThread::LThread;

  /// Starts the thread. It is not put into the owner's list: Add() does that, before.
  /// \param owner whose list the thread is in
  /// \param priority as LThread::SetPriority() takes it
  /// \return 0; EAGAIN when the thread could not be made, or EBUSY when it runs already; or the error number with which
  /// it could not be given the priority, as EACCES and EPERM: it was started all the same then
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
/// threads may stop them all, or delete itself or one that waits for it. It outlives its threads.
class TILLVANE_API LDetachedThreadsOwner {
 public:
  /// Owns no thread yet.
  LDetachedThreadsOwner();
  /// Stops them all.
  ~LDetachedThreadsOwner();
  LDetachedThreadsOwner(const LDetachedThreadsOwner&) = delete;
  LDetachedThreadsOwner& operator=(const LDetachedThreadsOwner&) = delete;

  /// Takes a thread that is in no list and does not run. It is the owner's from now on.
  void Add(LDetachedThread* thread);

  /// Asks all threads to stop, and does not wait for their end. It may wait for one that is just being started.
  void StopThreadsSoon();

  /// Asks all threads to stop, waits until they have ended, and deletes them; those that end by themselves or are
  /// deleted by somebody else meanwhile are gone too when it returns. Nobody may add or start one at the same time.
  void StopThreadsNow();

  /// Takes a thread out of the list and deletes it, after it was asked to stop and has ended if it runs. Does nothing
  /// when the thread is not in the list.
  void Destruct(LDetachedThread* thread);

 private:
  friend struct LDetachedThreadsOwnerLayout;
  friend class LDetachedThread;

  void Leave(LDetachedThread* thread);
  LThread::Taken TakeOut(LDetachedThread* thread);
  void Delete(LDetachedThread* thread);

  LList<LDetachedThread> threads_;
  pthread_mutex_t list_lock_;
  // Threads that have left the list and are about to be deleted.
  int leaving_ = 0;
  pthread_cond_t all_left_;
};
