#include "ctrl_c.h"

#include <csignal>

namespace line_server {

namespace {

/// There before the handler is, and longer.
LSignalObject& Signalled() {
  static LSignalObject signalled;
  return signalled;
}

void Handle(int) { Signalled().Signal(); }

void Install(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  // A call that can go on does; a wait is interrupted all the same, and then looks at the signal object.
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

}  // namespace

CtrlC::CtrlC() {
  Signalled();
  Install(Handle);
}

CtrlC::~CtrlC() { Install(SIG_DFL); }

bool CtrlC::IsToStop() { return Signalled().IsSignaled(); }

bool CtrlC::Wait(unsigned int ms) { return Signalled().WaitSignal(ms) && IsToStop(); }

}  // namespace line_server
