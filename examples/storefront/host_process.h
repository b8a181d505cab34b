#pragma once

#include <glib.h>
#include <tillvane/tillvane.h>

#include <array>
#include <string>

namespace storefront {

class ProgressLine;

/// What this host passes wherever the library asks for an LProcessInterface: its waits keep the main loop running, so
/// that the host's own sources (here a timer, the keyboard, Ctrl-C and SIGTERM) and the store's answers go on.
///
/// The pattern for a host on the main thread: derive from both classes, forward each wait, answer both stop questions
/// with the same flag. SetStatus and SetProgress may stay as they are. Main thread only; the flag is set by a GLib
/// source, never in a signal handler.
class HostProcess final : public LProcessInterface, public LProcessEventsHandler {
 public:
  /// From here on Ctrl-C, and SIGTERM too, is a stop request, which stays until the end.
  explicit HostProcess(ProgressLine& progress);
  ~HostProcess();
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  bool IsToStop() override { return stop_; }
  bool IsProcessEventHandlerToStop() const override { return stop_; }

  bool ProcessWait(unsigned int ms) override;
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override;
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) override;

  void SetError(const char* text) override;

  /// What SetError has been told since this was last asked; empty for nothing.
  std::string TakeError();

  /// While one of these lives a question is on the screen: the progress line makes room, and the wait that runs
  /// underneath does not use up its time.
  class Question {
   public:
    explicit Question(HostProcess& process);
    ~Question();
    Question(const Question&) = delete;
    Question& operator=(const Question&) = delete;

   private:
    HostProcess& process_;
    const gint64 began_ms_;
  };

 private:
  int WaitSignal(LSignalObjectRef signal, unsigned int ms);
  static gboolean Stop(gpointer self);

  ProgressLine& progress_;
  const std::array<guint, 2> stop_sources_;
  bool stop_ = false;
  gint64 asked_ms_ = 0;  ///< how long questions were on the screen during the present wait
  std::string error_;
};

}  // namespace storefront
