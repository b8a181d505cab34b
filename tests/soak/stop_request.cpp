#include "stop_request.h"

#include <pthread.h>
#include <signal.h>

namespace soak {

namespace {

sigset_t StopSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  return signals;
}

}  // namespace

StopRequest::StopRequest() {
  const sigset_t signals = StopSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  thread_ = std::thread([this, signals] {
    int number;
    while (!is_over_) {
      if (sigwait(&signals, &number) == 0 && !is_over_) has_come_ = true;
    }
  });
}

StopRequest::~StopRequest() {
  is_over_ = true;
  pthread_kill(thread_.native_handle(), SIGTERM);
  thread_.join();
}

}  // namespace soak
