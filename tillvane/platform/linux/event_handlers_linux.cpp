#include <tillvane/platform/linux/event_handlers_linux.h>

#include <tillvane/platform/linux/event_linux.h>

namespace platform {

EventHandler* EventHandlers::Install(unsigned int cls, unsigned int kind, EventHandlerFunction function, void* data) {
  handlers_.push_back(std::make_unique<EventHandler>(EventHandler{cls, kind, function, data}));
  return handlers_.back().get();
}

void EventHandlers::Remove(EventHandler* handler) {
  handler->removed = true;
  has_removed_ = true;
  if (dispatching_ == 0) EraseRemoved();
}

void EventHandlers::EraseRemoved() {
  has_removed_ = false;
  std::erase_if(handlers_, [](const auto& one) { return one->removed; });
}

bool EventHandlers::Dispatch(Event* event) {
  bool handled = false;
  ++dispatching_;
  // A handler may install and remove handlers: the list only grows while it is walked.
  for (std::size_t i = handlers_.size(); i-- > 0 && !handled;) {
    EventHandler* handler = handlers_[i].get();
    if (handler->removed || handler->cls != event->cls || handler->kind != event->kind) continue;
    handled = handler->function(event, handler->data);
  }
  if (--dispatching_ == 0 && has_removed_) [[unlikely]]
    EraseRemoved();
  return handled;
}

}  // namespace platform
