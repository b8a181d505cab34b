#pragma once

/// \file
/// Freed events, kept for the next ones, so that making and freeing an event takes a few instructions. Any thread.
///
/// A thread takes from and gives to a batch of its own, with a second one in reserve; full batches travel through a
/// store that all threads share: what the main thread frees comes back to the threads that post.

#include <tillvane/platform/linux/event_linux.h>

namespace platform::event_pool {

inline constexpr unsigned int kBatchSize = 64;

struct Batch {
  Event* first;
  unsigned int count;
};

enum class State : unsigned char { kNew, kUsed, kEnded };

struct OfThread {
  Batch current;
  Batch reserve;
  State state;
};

// In the thread's own block, so that no function is called to find it.
extern constinit thread_local OfThread of_thread __attribute__((tls_model("initial-exec")));

Event* TakeSlowly();
void KeepSlowly(Event* event);

/// \return an event in whatever state it was freed, null when memory ran out
inline Event* Take() {
  Batch& batch = of_thread.current;
  Event* event = batch.first;
  if (event == nullptr) [[unlikely]]
    return TakeSlowly();
  batch.first = event->next;
  --batch.count;
  // It comes from the main thread, likely on another processor, and is the next to be written.
  __builtin_prefetch(batch.first, 1);
  return event;
}

inline void Keep(Event* event) {
  Batch& batch = of_thread.current;
  if (batch.count == kBatchSize) [[unlikely]]
    return KeepSlowly(event);
  event->next = batch.first;
  batch.first = event;
  ++batch.count;
}

}  // namespace platform::event_pool
