#include <cerrno>
#include <cstddef>

#include <tillvane/core/LDetachedThread.h>
#include <tillvane/core/mutex_guard.h>

using core::MutexGuard;

// The order and the widths of the fields are part of the binary interface.
struct LDetachedThreadLayout {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
  static_assert(offsetof(LDetachedThread, next) == sizeof(LThread));
  static_assert(offsetof(LDetachedThread, owner_) == sizeof(LThread) + sizeof(void*));
  static_assert(sizeof(LDetachedThread) == sizeof(LThread) + 2 * sizeof(void*));
#pragma GCC diagnostic pop
};

struct LDetachedThreadsOwnerLayout {
  static_assert(offsetof(LDetachedThreadsOwner, threads_) == 0);
  static_assert(sizeof(LList<LDetachedThread>) == sizeof(void*));
  static_assert(offsetof(LDetachedThreadsOwner, list_lock_) == sizeof(void*));
};

int LDetachedThread::StartDetached(LDetachedThreadsOwner& owner, int priority) {
  // The thread cannot end, and so not delete itself, until this has answered.
  const MutexGuard guard(start_lock_);
  if (running_.load()) return EBUSY;
  owner_ = &owner;
  priority_ = priority;
  if (const int error = Create(&LDetachedThread::DetachedThreadCallback)) return error;
  return SetPriority(priority);
}

void* LDetachedThread::DetachedThreadCallback(void* data) {
  struct Ending {
    LDetachedThread* thread;
    ~Ending() { thread->owner_->Leave(thread); }
  };
  const Ending ending{static_cast<LDetachedThread*>(data)};
  ending.thread->Run();
  return nullptr;
}

LDetachedThreadsOwner::LDetachedThreadsOwner() {
  pthread_mutex_init(&list_lock_, nullptr);
  pthread_cond_init(&all_left_, nullptr);
}

LDetachedThreadsOwner::~LDetachedThreadsOwner() {
  StopThreadsNow();
  pthread_cond_destroy(&all_left_);
  pthread_mutex_destroy(&list_lock_);
}

void LDetachedThreadsOwner::Add(LDetachedThread* thread) {
  const MutexGuard guard(list_lock_);
  thread->owner_ = this;
  threads_.Prepend(thread);
}

void LDetachedThreadsOwner::StopThreadsSoon() {
  const MutexGuard guard(list_lock_);
  for (LListIterator<LDetachedThread> each(threads_); each.Get() != nullptr; each.Next()) each.Get()->StopThreadSoon();
}

void LDetachedThreadsOwner::StopThreadsNow() {
  StopThreadsSoon();
  for (;;) {
    LDetachedThread* thread;
    LThread::Taken taken;
    {
      const MutexGuard guard(list_lock_);
      LListIterator<LDetachedThread> first(threads_);
      thread = threads_.Detach(first);
      if (thread == nullptr) {
        while (leaving_ > 0) pthread_cond_wait(&all_left_, &list_lock_);
        return;
      }
      taken = TakeOut(thread);
    }
    thread->Join(taken);
    Delete(thread);
  }
}

void LDetachedThreadsOwner::Destruct(LDetachedThread* thread) {
  LThread::Taken taken;
  {
    const MutexGuard guard(list_lock_);
    if (!threads_.Remove(thread)) return;
    taken = TakeOut(thread);
  }
  // Before its destructor begins: the thread's function never sees members that are gone.
  thread->Join(taken);
  Delete(thread);
}

/// In one step with leaving the list: a thread that ends by itself is in the list and runs, or is neither. The start
/// lock waits for a StartDetached that is not done with the object.
LThread::Taken LDetachedThreadsOwner::TakeOut(LDetachedThread* thread) {
  ++leaving_;
  const MutexGuard guard(thread->start_lock_);
  return thread->Take(true);
}

void LDetachedThreadsOwner::Delete(LDetachedThread* thread) {
  delete thread;
  const MutexGuard guard(list_lock_);
  if (--leaving_ == 0) pthread_cond_broadcast(&all_left_);
}

/// The end of a thread whose function has returned, on that thread. In one step it ends and leaves the list, and then
/// deletes itself; or it finds that somebody took it out, who joins and deletes it.
void LDetachedThreadsOwner::Leave(LDetachedThread* thread) {
  {
    const MutexGuard guard(list_lock_);
    const bool is_mine = threads_.Remove(thread);
    const MutexGuard start_guard(thread->start_lock_);
    const MutexGuard state_guard(thread->state_lock_);
    thread->EndLocked();
    thread->StopThreadSoon();
    if (!is_mine) return;
    ++leaving_;
  }
  Delete(thread);
}
