#pragma once

#include <tillvane/tillvane.h>

#include <chrono>
#include <string>

namespace window_shop {

/// What a host with windows passes wherever the library asks for an LProcessInterface: its waits turn the main loop, so
/// that windows are drawn, buttons work and the store can answer.
///
/// The waits here are the library's. They serve every toolkit whose loop is the one that the library waits with; a host
/// with another loop replaces Wait() and Pause(). Main thread only.
class HostProcess : public LProcessInterface, public LProcessEventsHandler {
 public:
  HostProcess() = default;
  virtual ~HostProcess() = default;
  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  /// Forgets what was before: a new step has not been stopped and has not failed.
  void BeginStep();

  /// Ends the step: what a Cancel button does. It stays so until the next step begins.
  virtual void Stop() { stop_ = true; }

  /// What SetError was told during this step; empty for nothing.
  const std::string& Error() const { return error_; }

  /// A question was on the screen for so long: a wait underneath it gets that time back.
  void GiveBack(std::chrono::milliseconds asked) { asked_ += asked; }

  bool IsToStop() override { return stop_; }
  bool IsProcessEventHandlerToStop() const override { return stop_; }
  bool ProcessWait(unsigned int ms) override { return Pause(ms); }
  int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override;
  int ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) override;
  void SetError(const char* text) override { error_ = text; }

 protected:
  static constexpr unsigned int kNoLimit = 0xFFFFFFFF;
  static constexpr int kSignalled = 0;
  static constexpr int kStopped = 1;
  static constexpr int kTimePassed = 2;

  /// One wait for a signal object. \param ms kNoLimit for none
  virtual int Wait(LSignalObjectRef signal, unsigned int ms);

  /// One pause. \return whether it was stopped
  virtual bool Pause(unsigned int ms);

 private:
  bool stop_ = false;
  std::chrono::milliseconds asked_{0};  ///< during the present wait
  std::string error_;
};

}  // namespace window_shop
