#pragma once

#include <pthread.h>

#include <atomic>
#include <memory>

#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>

/// \file
/// Work from any thread that the main thread does.

/// What is to be done on the main thread.
class TILLVANE_API LThreadRunOnMainThreadData {
 public:
  /// Runs on the main thread: after MainThreadFunction(), or without it when the sender withdraws its work. Only what
  /// was never posted is freed elsewhere, by whoever owns it: a dropped notification on the thread that posts it.
  virtual ~LThreadRunOnMainThreadData();

  /// May post, wait, destroy its own sender, and free it. It must not throw: the program would end.
  virtual void MainThreadFunction() = 0;
};

/// Sends work to the main thread, where whatever dispatches events runs it: every wait that pumps events, the host's
/// own loop, LEventQueueDrain(). It goes ahead of events of standard and low priority, in the order of posting.
///
/// Any thread posts. Init(), Destroy() and ThreadRunOnMainThreadDestroy() are for the main thread, where the work runs
/// as well. Before a sender is freed its owner calls ThreadRunOnMainThreadDestroy(), sees to it that no thread posts
/// any more, and frees it on the main thread or while none of its work runs. Nothing is thrown but std::bad_alloc.
class TILLVANE_API LThreadRunOnMainThread {
 public:
  /// Gets ready to run what is posted: once, before the first post. Again without Destroy() in between does nothing.
  static void Init();

  /// Ends what Init() began. What is dispatched from then on is lost, and still counted: destroy the senders first.
  static void Destroy();

  /// A sender that has posted nothing yet.
  LThreadRunOnMainThread();
  LThreadRunOnMainThread(const LThreadRunOnMainThread&) = delete;
  LThreadRunOnMainThread& operator=(const LThreadRunOnMainThread&) = delete;

  /// Withdraws nothing.
  virtual ~LThreadRunOnMainThread();

  /// Posts work; once it is posted the library owns it. Any thread.
  ///
  /// After ThreadRunOnMainThreadDestroy(), and without data, it does nothing: the data then stays the caller's, and so
  /// it does when std::bad_alloc is thrown because there is no memory for the event.
  void RunOnMainThread(LThreadRunOnMainThreadData* data);

  /// One more post whose work has not been done yet; posting does that itself. Any thread.
  void IncRefCount();
  /// One post less. Any thread.
  void DecRefCount();
  /// The number of posts whose work has not been done yet. Any thread.
  int GetRefCount() const;

  /// Withdraws what is queued, freeing it, and drops later posts. A second call does nothing. Main thread only; work of
  /// this sender, and the destructors of its data, may call it too. When such a destructor waits, what is not withdrawn
  /// yet may still run in that wait; and work that waits in a call around this one goes on afterwards.
  void ThreadRunOnMainThreadDestroy();

  /// Is the queued event this sender's, so that it is to be removed? Its data is freed then. Main thread only.
  bool FlushEventFromQueue(EventRef event);

  /// FlushEventFromQueue() of the sender `owner`, a pointer to an LThreadRunOnMainThread; false without one.
  static bool FlushEventFromQueueCallBack(EventRef event, void* owner);

  /// Does the work of an event, and counts it as done. Main thread only.
  /// \param call not used
  /// \param event one that RunOnMainThread() has posted
  /// \param data not used
  /// \return 0
  static OSStatus EventHandler(EventHandlerCallRef call, EventRef event, void* data) noexcept;

 private:
  friend struct LThreadRunOnMainThreadLayout;
  friend class LThreadQueuedNotify;
  friend class LQueuedNotifyDataHandler;

  bool TakesPosts() const { return active_ && !destroying_; }
  bool Post(LThreadRunOnMainThreadData* data);
  void PostOwned(std::unique_ptr<LThreadRunOnMainThreadData> data);

  std::atomic<bool> active_{true};
  std::atomic<bool> destroying_{false};
  mutable pthread_mutex_t count_lock_;
  int count_ = 0;
};
