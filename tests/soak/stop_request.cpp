#include "stop_request.h"

#include <pthread.h>
#include <signal.h>

namespace soak {

namespace {

/// nohup has a program ignore that its terminal has gone. A signal that is blocked is kept for who waits for it, also
/// when it is to be ignored.
bool IsHangupIgnored() {
  struct sigaction action;
  return sigaction(SIGHUP, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t StopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  if (!IsHangupIgnored()) sigaddset(&signals, SIGHUP);
  return signals;
}

}  // namespace

void StopRequest::Block() {
  const sigset_t signals = StopSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

StopRequest::StopRequest() {
  thread_ = std::thread([this, signals = StopSignals()] {
    int number;
    while (!is_over_) {
      if (sigwait(&signals, &number) == 0 && !is_over_) has_come_ = true;
    }
  });
}

StopRequest::~StopRequest() {
  is_over_ = true;
  pthread_kill(thread_.native_handle(), SIGINT);
  thread_.join();
}

}  // namespace soak
