#pragma once

#include <tillvane/tillvane.h>

namespace line_server {

/// Ctrl-C, and a request to terminate, for a program without an event loop: a signal object that the handler signals.
///
/// It is the process interface of what the main thread does: whatever sends, receives or connects through it asks
/// before each of its slices. There is one in a program.
class CtrlC : public LProcessInterfaceVoid {
 public:
  /// Installs the handler.
  CtrlC();
  /// Ctrl-C ends the program again.
  ~CtrlC();
  CtrlC(const CtrlC&) = delete;
  CtrlC& operator=(const CtrlC&) = delete;

  bool IsToStop() override;

  /// Waits at most so many milliseconds for it. \return has it come?
  bool Wait(unsigned int ms);
};

}  // namespace line_server
