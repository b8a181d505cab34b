#include <tillvane/core/LEventQueue.h>
#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/run_loop.h>

int LEventQueueDescriptor() { return platform::EventQueueDescriptor(); }

bool LEventQueueDrain() { return platform::DrainEventQueue(); }

bool LEventQueuePost(unsigned int cls, unsigned int kind, int priority) {
  platform::Event* event = platform::CreateEvent(cls, kind);
  return event != nullptr && platform::PostAndReleaseEvent(event, priority);
}

unsigned int LEventQueueCount() { return platform::CountEvents(); }

void LRunLoopEnter(void (*stop)(void*), void* data) { platform::EnterRunLoop(stop, data); }

void LRunLoopLeave() { platform::LeaveRunLoop(); }
