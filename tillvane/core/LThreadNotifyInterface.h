#pragma once

#include <pthread.h>

#include <atomic>

#include <tillvane/core/LQueuedNotify.h>
#include <tillvane/core/LThread.h>
#include <tillvane/export.h>

/// \file
/// Threads whose reports arrive on the main thread, where they can be shown.

/// A thread whose reports arrive, on the main thread, at another LProcessInterface: one that shows them to the user.
///
/// Any thread reports; nothing waits for the main thread. Only the newest status text of each of the two kinds is kept:
/// several in quick succession are shown as the newest, as many times as there were reports. Before it is freed, its
/// owner stops the thread and calls QueuedNotifyDataHandlerDestroy() on the main thread.
/// LThreadRunOnMainThread::Init() comes first. A report throws std::bad_alloc when there is no memory to post it.
class TILLVANE_API LThreadNotifyInterface : public LThread, public LQueuedNotifyDataHandler {
 public:
  /// Sends through itself.
  /// \param target receives the reports on the main thread and outlives this; null drops them there
  explicit LThreadNotifyInterface(LProcessInterface* target);
  ~LThreadNotifyInterface() override;

  /// Sends the reports through another handler from now on, whose EvQueuedNotifyData() is then called in place of the
  /// one here; null drops them. A handler that was replaced outlives the reports under way. Any thread.
  void SetNotifySender(LQueuedNotifyDataHandler* sender);

  /// Sends an error's text, all of it. A null text is no report.
  void SetError(const char* text) override;
  /// Sends a status text, cut to 259 bytes.
  /// \param text null is no report
  /// \param which 0 or 1; others are no report
  void SetStatus(const char* text, int which) override;
  /// Sends the progress. It arrives in whole hundredths: the double `fraction * 100.0` without what stands behind its
  /// point, so 0.29 arrives as 0.28. What is less than 0 or no number arrives as 0.
  void SetProgress(double fraction) override;
  /// Sends that nobody knows how far it is.
  void SetProgressIndeterminateOn() override;
  /// Sends that the progress is known again.
  void SetProgressIndeterminateOff() override;

  /// Hands a report to the target, which may free this meanwhile. Codes that are not its own, and an error text without
  /// its end, are ignored. Main thread only.
  void EvQueuedNotifyData(unsigned int code, const void* data, unsigned long size) override;

 private:
  friend struct LThreadNotifyInterfaceLayout;

  static constexpr unsigned int kTextSize = 260;

  void Send(unsigned int code, const void* data, unsigned long size);
  void KeepStatus(char* kept, const char* text);
  void ReportStatus(const char* kept, int which);

  LProcessInterface* target_;
  std::atomic<LQueuedNotifyDataHandler*> sender_{this};
  pthread_mutex_t text_lock_;
  char status_0_[kTextSize] = "";
  char status_1_[kTextSize] = "";
};
