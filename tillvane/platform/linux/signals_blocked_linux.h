#pragma once

#include <pthread.h>
#include <signal.h>

#include <mutex>

namespace platform {

/// From here on the calling thread handles no signal but those that a fault of its own raises.
/// \return what RestoreSignals() takes
inline sigset_t BlockSignals() {
  sigset_t blocked, before;
  sigfillset(&blocked);
  for (const int fault : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGABRT, SIGSYS}) sigdelset(&blocked, fault);
  pthread_sigmask(SIG_SETMASK, &blocked, &before);
  return before;
}

/// Those that came meanwhile are handled now.
inline void RestoreSignals(const sigset_t& before) { pthread_sigmask(SIG_SETMASK, &before, nullptr); }

/// BlockSignals() for as long as this lives: a thread that is started meanwhile inherits that, and the host's handlers
/// keep to the host's threads.
class SignalsBlocked {
 public:
  SignalsBlocked() : before_(BlockSignals()) {}
  ~SignalsBlocked() { RestoreSignals(before_); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  const sigset_t before_;
};

/// Holds a mutex that the library's end takes too, with signals blocked: a handler may end the process by `exit` on the
/// very thread that it interrupts, and the library's end would then wait for that thread for ever.
class UninterruptedLock {
 public:
  explicit UninterruptedLock(std::mutex& mutex) : guard_(mutex) {}

 private:
  const SignalsBlocked blocked_;
  const std::lock_guard<std::mutex> guard_;
};

}  // namespace platform
