#pragma once

#include <memory>

#include <tillvane/core/LThreadRunOnMainThread.h>
#include <tillvane/export.h>

/// \file
/// Notifications from any thread that are received on the main thread, in the order of posting.
///
/// LThreadRunOnMainThread::Init() comes first. The owner calls the destroy operation on the main thread, sees to it
/// that no thread posts any more, and then frees the object on the main thread, a notification included, or while none
/// of its notifications runs. What is posted after the destroy operation is dropped. Nothing is thrown but
/// std::bad_alloc, by a post that memory does not suffice for; nothing has been posted then.

/// A notification without contents.
class TILLVANE_API LThreadQueuedNotify {
 public:
  /// Nothing is posted yet.
  LThreadQueuedNotify();
  /// Withdraws nothing: that is ThreadQueuedNotifyDestroy()'s.
  virtual ~LThreadQueuedNotify();

  /// Called on the main thread, once for each post. It must not throw: the program would end.
  virtual void QueuedNotify() = 0;

  /// Posts one QueuedNotify(). Any thread.
  void PostQueueNotify();

  /// Withdraws what is queued and drops later posts. Main thread only.
  void ThreadQueuedNotifyDestroy();

 private:
  friend struct LThreadQueuedNotifyLayout;

  LThreadRunOnMainThread sender_;
};

/// One LThreadQueuedNotify::QueuedNotify() to come.
class TILLVANE_API LThreadQueuedNotifyData : public LThreadRunOnMainThreadData {
 public:
  /// One notification.
  /// \param notify what is to be notified; outlives this
  explicit LThreadQueuedNotifyData(LThreadQueuedNotify* notify);
  ~LThreadQueuedNotifyData() override;
  /// Calls LThreadQueuedNotify::QueuedNotify().
  void MainThreadFunction() override;

 private:
  friend struct LThreadQueuedNotifyDataLayout;

  LThreadQueuedNotify* notify_;
};

/// Notifications with a code and bytes.
class TILLVANE_API LQueuedNotifyDataHandler {
 public:
  /// Nothing is posted yet.
  LQueuedNotifyDataHandler();
  /// Withdraws nothing: that is QueuedNotifyDataHandlerDestroy()'s.
  virtual ~LQueuedNotifyDataHandler();

  /// Called on the main thread, once for each post. It must not throw: the program would end.
  /// \param code as it was posted
  /// \param data a copy of what was posted, valid during the call; null where there was none
  /// \param size its bytes; without data, the number that was posted
  virtual void EvQueuedNotifyData(unsigned int code, const void* data, unsigned long size) = 0;

  /// Posts a code and a copy of `size` bytes. Any thread.
  ///
  /// Without data the size is a number of its own, at most 0xFFFFFFFF, which larger ones count as. A copy of more bytes
  /// than that cannot be had: std::bad_alloc.
  void PostNotifyFromSender(unsigned int code, const void* data, unsigned long size);

  /// Withdraws what is queued and drops later posts. Main thread only.
  void QueuedNotifyDataHandlerDestroy();

 private:
  friend struct LQueuedNotifyDataHandlerLayout;

  LThreadRunOnMainThread sender_;
};

/// One LQueuedNotifyDataHandler::EvQueuedNotifyData() to come.
class TILLVANE_API LQueuedNotifyDataHandlerData : public LThreadRunOnMainThreadData {
 public:
  /// Copies the bytes, as LQueuedNotifyDataHandler::PostNotifyFromSender() says.
  LQueuedNotifyDataHandlerData(LQueuedNotifyDataHandler* handler, unsigned int code, const void* data,
                               unsigned long size);
  ~LQueuedNotifyDataHandlerData() override;
  /// Calls LQueuedNotifyDataHandler::EvQueuedNotifyData() with the copy.
  void MainThreadFunction() override;

 private:
  friend struct LQueuedNotifyDataHandlerDataLayout;

  LQueuedNotifyDataHandler* handler_;
  unsigned int code_;
  std::unique_ptr<unsigned char[]> copy_;
  unsigned int size_;
};
