#pragma once

namespace diag {

/// Gives the calling thread an alternate stack for signal handlers, until it ends; one that has one keeps that. Without
/// memory it gets none.
void GiveCrashStack();

/// Takes it back from the calling thread.
void TakeCrashStack();

/// What makes threads' ends give their stacks back, for as long as the library is loaded.
class CrashStacks {
 public:
  CrashStacks();
  ~CrashStacks();
  CrashStacks(const CrashStacks&) = delete;
  CrashStacks& operator=(const CrashStacks&) = delete;
};

}  // namespace diag
