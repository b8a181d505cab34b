#include <Carbon/Carbon.h>

#include <tillvane/platform/event_queue.h>

namespace platform {

namespace {

/// The system asks for events that may be changed even where it only reads.
EventRef Native(const Event* event) { return NativeEvent(const_cast<Event*>(event)); }

}  // namespace

Event* CreateEvent(unsigned int cls, unsigned int kind, bool is_users) {
  EventRef event = nullptr;
  const EventAttributes attributes = is_users ? kEventAttributeUserEvent : kEventAttributeNone;
  const OSStatus status = ::CreateEvent(kCFAllocatorDefault, cls, kind, 0, attributes, &event);
  return status == noErr ? EventOfNative(event) : nullptr;
}

Event* RetainEvent(Event* event) { return EventOfNative(::RetainEvent(NativeEvent(event))); }

void ReleaseEvent(Event* event) { ::ReleaseEvent(NativeEvent(event)); }

unsigned int EventClass(const Event* event) { return ::GetEventClass(Native(event)); }

unsigned int EventKind(const Event* event) { return ::GetEventKind(Native(event)); }

bool SetEventParameter(Event* event, unsigned int name, unsigned int type, unsigned long size, const void* data) {
  if (data == nullptr && size != 0) return false;
  return ::SetEventParameter(NativeEvent(event), name, type, size, data) == noErr;
}

bool GetEventParameter(const Event* event, unsigned int name, unsigned int type, unsigned long size, void* data) {
  // Asked for a type, the system would convert another one into it.
  EventParamType actual_type = 0;
  ByteCount actual_size = 0;
  const OSStatus found = ::GetEventParameter(Native(event), name, typeWildCard, &actual_type, 0, &actual_size, nullptr);
  if (found != noErr || actual_type != type || actual_size != size) return false;
  return ::GetEventParameter(Native(event), name, type, nullptr, size, nullptr, data) == noErr;
}

}  // namespace platform
