#pragma once

#include <tillvane/diag/LDebugThread.h>
#include <tillvane/diag/crash_report.h>
#include <tillvane/diag/crash_stack.h>

namespace diag {

/// A thread of the toolkit's while it runs its function: registered, and with room for the report of a crash where the
/// host has asked for one. The thread's end takes that room back.
class RegisteredThread {
 public:
  RegisteredThread() {
    LDebugThreadDataStartThread(nullptr);
    if (AreCrashesReported()) GiveCrashStack();
  }
  ~RegisteredThread() { LDebugThreadDataStopThread(); }
  RegisteredThread(const RegisteredThread&) = delete;
  RegisteredThread& operator=(const RegisteredThread&) = delete;
};

}  // namespace diag
