#pragma once

#include <memory>
#include <vector>

#include <tillvane/platform/event_queue.h>

namespace platform {

struct EventHandler {
  unsigned int cls;
  unsigned int kind;
  EventHandlerFunction function;
  void* data;
  bool removed = false;
};

/// The handlers of the main thread's events. Main thread only.
class EventHandlers {
 public:
  EventHandler* Install(unsigned int cls, unsigned int kind, EventHandlerFunction function, void* data);
  void Remove(EventHandler* handler);
  bool Dispatch(Event* event);

 private:
  [[gnu::noinline]] void EraseRemoved();

  std::vector<std::unique_ptr<EventHandler>> handlers_;
  int dispatching_ = 0;
  bool has_removed_ = false;
};

}  // namespace platform
