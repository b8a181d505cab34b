#pragma once

#include <pthread.h>

/// \file
/// Cancellation by `pthread_cancel`, which ends a thread inside many a system call by unwinding its stack.

namespace core {

/// While this lives, the thread is not cancelled: for what runs to its end once it has begun, and for what may not be
/// unwound, such as a destructor. Async-signal-safe: it only sets a mark of the thread's own.
class CancellationPutOff {
 public:
  CancellationPutOff() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state_); }
  ~CancellationPutOff() { pthread_setcancelstate(state_, &state_); }
  CancellationPutOff(const CancellationPutOff&) = delete;
  CancellationPutOff& operator=(const CancellationPutOff&) = delete;

 private:
  int state_;
};

}  // namespace core
