#pragma once

#include <atomic>

namespace platform::run_loop {

/// Has a stop been requested? A signal handler writes it.
extern constinit std::atomic<bool> quit;
inline bool IsQuit() { return quit.load(std::memory_order_relaxed); }

/// How many run loops are under way, one in the other? Main thread.
unsigned int Count();

/// Has a stop been requested that the innermost run loop, a wait of ours, is to receive? Main thread.
bool IsQuitForWait();
/// Has a stop been requested that the innermost run loop, a host's bracket, is to be told of? Main thread.
bool IsQuitForBracket();

/// Takes the request, if it is for a wait. Main thread.
bool TakeQuitForWait();
/// Takes the request, if it is for a bracket, and calls the bracket's `stop`. Main thread.
bool TakeQuitForBracket();

}  // namespace platform::run_loop
