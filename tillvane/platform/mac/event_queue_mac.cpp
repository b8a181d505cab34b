#include <Carbon/Carbon.h>

#include <ctime>

#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/mac/run_loop_mac.h>
#include <tillvane/platform/thread_id.h>

namespace platform {

namespace {

static_assert(kLowPriority == kEventPriorityLow && kStandardPriority == kEventPriorityStandard &&
              kHighPriority == kEventPriorityHigh);

void Sleep(double seconds) {
  timespec time = {};
  time.tv_sec = static_cast<time_t>(seconds);
  time.tv_nsec = static_cast<long>((seconds - static_cast<double>(time.tv_sec)) * 1e9);
  nanosleep(&time, nullptr);
}

/// Any event, taken off the main thread's queue.
OSStatus ReceiveNext(double seconds, Event** event) {
  EventRef received = nullptr;
  const OSStatus status = ReceiveNextEvent(0, nullptr, seconds, true, &received);
  *event = status == noErr ? EventOfNative(received) : nullptr;
  return status;
}

struct Predicate {
  bool (*function)(Event* event, void* data);
  void* data;
};

Boolean AskPredicate(EventRef event, void* data) noexcept {
  const auto* const predicate = static_cast<const Predicate*>(data);
  return predicate->function(EventOfNative(event), predicate->data);
}

}  // namespace

bool PostEvent(Event* event, int priority) {
  if (priority < kLowPriority || priority > kHighPriority) return false;
  return PostEventToQueue(GetMainEventQueue(), NativeEvent(event), static_cast<EventPriority>(priority)) == noErr;
}

bool PostAndReleaseEvent(Event* event, int priority) {
  const bool posted = PostEvent(event, priority);
  ReleaseEvent(event);
  return posted;
}

Received ReceiveEvent(double seconds, Event** event) {
  *event = nullptr;
  // Another thread would receive from a queue of its own.
  if (!IsMainThread()) {
    Sleep(seconds);
    return Received::kNothing;
  }
  const bool may_quit = seconds > 0;
  if (may_quit && run_loop::TakeQuit()) return Received::kQuit;
  const OSStatus status = ReceiveNext(seconds, event);
  if (status == noErr) return Received::kEvent;
  // Time that is over ends a wait as a stop does: nothing of it is left.
  const bool is_over = status == eventLoopQuitErr || status == eventLoopTimedOutErr;
  if (!is_over || !may_quit) return Received::kNothing;
  // The same stop, which the system has told already.
  run_loop::TakeQuit();
  return Received::kQuit;
}

unsigned int CountEvents() { return static_cast<unsigned int>(GetNumEventsInQueue(GetMainEventQueue())); }

unsigned int FlushEvents(bool (*predicate)(Event* event, void* data), void* data) {
  Predicate asked = {predicate, data};
  return static_cast<unsigned int>(FlushSpecificEventsFromQueue(GetMainEventQueue(), &AskPredicate, &asked));
}

// Every loop of the main thread is the system's own here, and dispatches the queue: there is nothing to poll.
int EventQueueDescriptor() { return -1; }

bool DrainEventQueue() {
  if (!IsMainThread()) return false;
  bool any = false;
  // What the handlers post is for the next time; what they receive themselves is gone.
  for (unsigned int left = CountEvents(); left > 0; --left) {
    Event* event = nullptr;
    if (ReceiveNext(kEventDurationNoWait, &event) != noErr) break;
    DispatchEvent(event);
    ReleaseEvent(event);
    any = true;
  }
  return any;
}

}  // namespace platform
