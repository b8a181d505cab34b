#include <Carbon/Carbon.h>

#include <memory>

#include <tillvane/platform/event_queue.h>

namespace platform {

struct EventHandler {
  EventHandlerFunction function;
  void* data;
  EventHandlerRef installed;
};

namespace {

constexpr OSStatus kHandled = noErr;
constexpr OSStatus kNotHandled = eventNotHandledErr;

/// What the system calls. The handler may remove itself: afterwards nothing of it is read.
OSStatus CallHandler(EventHandlerCallRef, EventRef event, void* data) noexcept {
  const auto* const handler = static_cast<const EventHandler*>(data);
  return handler->function(EventOfNative(event), handler->data) ? kHandled : kNotHandled;
}

}  // namespace

EventHandler* InstallEventHandler(unsigned int cls, unsigned int kind, EventHandlerFunction function, void* data) {
  auto handler = std::make_unique<EventHandler>(EventHandler{function, data, nullptr});
  const EventTypeSpec type = {cls, kind};
  const OSStatus status =
      ::InstallEventHandler(GetApplicationEventTarget(), &CallHandler, 1, &type, handler.get(), &handler->installed);
  return status == noErr ? handler.release() : nullptr;
}

void RemoveEventHandler(EventHandler* handler) {
  const std::unique_ptr<EventHandler> owned(handler);
  ::RemoveEventHandler(handler->installed);
}

bool DispatchEvent(Event* event) {
  return SendEventToEventTarget(NativeEvent(event), GetEventDispatcherTarget()) == kHandled;
}

}  // namespace platform
