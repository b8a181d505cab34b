#pragma once

#include <QEventLoop>
#include <functional>
#include <utility>
#include <vector>

#include "window-shop/host_process.h"

namespace qt_host {

/// The host's process interface on Qt: with the library's own waits where Qt runs on the library's loop, and otherwise
/// with a loop of Qt's for each wait. Main thread only.
class QtProcess : public window_shop::HostProcess {
 public:
  /// \param told_to_quit is called when Ctrl-C, or the session's end, has ended a wait
  explicit QtProcess(std::function<void()> told_to_quit) : told_to_quit_(std::move(told_to_quit)) {}

  void Stop() override;

 protected:
  int Wait(LSignalObjectRef signal, unsigned int ms) override;
  bool Pause(unsigned int ms) override;

 private:
  void Turn(QEventLoop& loop, unsigned int ms);
  int WaitInQt(LSignalObjectRef signal, unsigned int ms);

  const std::function<void()> told_to_quit_;
  std::vector<QEventLoop*> loops_;  ///< of waits inside of each other, the innermost last
};

}  // namespace qt_host
