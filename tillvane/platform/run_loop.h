#pragma once

/// \file
/// Stopping the main thread's run loop from a signal handler.
///
/// A run loop is there while a wait of ours runs, or inside a bracket of the host's own loop. Entering and leaving
/// happen on the main thread; StopRunLoop and HasRunLoop may be called from a signal handler, on any thread.

namespace platform {

bool HasRunLoop();

/// Asks the innermost run loop to stop: a wait of ours receives kQuit once; in a bracket the host's `stop` is called
/// from its loop. What it does not come round to is for the one around it. A request that comes just as the last run
/// loop ends may be lost.
///
/// Where each thread has a run loop of the system's (macOS), that one is stopped outside waits and brackets, and always
/// on another thread than the main one: there a request for the main thread's run loop has no effect on it.
/// \return false, and nothing is done, when there is none
bool StopRunLoop();

/// The host's bracket; brackets and waits nest.
void EnterRunLoop(void (*stop)(void*), void* data);
void LeaveRunLoop();

/// A wait of ours, for as long as this lives.
class RunLoopScope {
 public:
  RunLoopScope();
  ~RunLoopScope();
  RunLoopScope(const RunLoopScope&) = delete;
  RunLoopScope& operator=(const RunLoopScope&) = delete;
};

}  // namespace platform
