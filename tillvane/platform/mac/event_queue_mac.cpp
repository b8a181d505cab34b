#include <Carbon/Carbon.h>

#include <ctime>
#include <vector>

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

/// Leaves the event where it is: one more of those that the system counts out.
Boolean Collect(EventRef event, void* data) noexcept {
  static_cast<std::vector<EventRef>*>(data)->push_back(::RetainEvent(event));
  return false;
}

/// \return false when it was not queued, or is not to be removed, or was received meanwhile
bool FlushOne(EventRef event, bool (*predicate)(Event* event, void* data), void* data) {
  const EventQueueRef queue = GetMainEventQueue();
  return IsEventInQueue(queue, event) && predicate(EventOfNative(event), data) &&
         RemoveEventFromQueue(queue, event) == noErr;
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
  // The system's queue must not change while the system goes through it, and its answer is no count.
  std::vector<EventRef> queued;
  FlushSpecificEventsFromQueue(GetMainEventQueue(), &Collect, &queued);
  unsigned int flushed = 0;
  for (const EventRef event : queued) {
    if (FlushOne(event, predicate, data)) ++flushed;
    ::ReleaseEvent(event);
  }
  return flushed;
}

// Every loop of the main thread is the system's own here, and dispatches the queue: there is nothing to poll.
int EventQueueDescriptor() { return -1; }

bool DrainEventQueue() {
  if (!IsMainThread()) return false;
  bool any = false;
  // What is posted from here on is for the next time; what handlers receive themselves is gone.
  unsigned int left = CountEvents();
  CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
  for (; left > 0; --left) {
    Event* event = nullptr;
    if (ReceiveNext(0, &event) != noErr) break;
    DispatchEvent(event);
    ReleaseEvent(event);
    any = true;
  }
  return any;
}

}  // namespace platform
