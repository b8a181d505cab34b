#include <tillvane/platform/linux/event_linux.h>

#include <cstring>
#include <iterator>
#include <new>

#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/linux/event_pool_linux.h>

namespace platform {

namespace {

Event::SmallParameter* FindSmall(Event* event, unsigned int name) {
  for (unsigned int i = 0; i < event->small_count; ++i) {
    if (event->small[i].name == name) return &event->small[i];
  }
  return nullptr;
}

Event::LargeParameter* FindLarge(Event* event, unsigned int name) {
  if (event->large == nullptr) return nullptr;
  for (auto& parameter : *event->large) {
    if (parameter.name == name) return &parameter;
  }
  return nullptr;
}

/// Most parameters are pointers: those are copied without a call.
void CopySmall(void* to, const void* from, unsigned long size) {
  if (size == sizeof(Event::SmallParameter::bytes)) [[likely]] {
    std::memcpy(to, from, sizeof(Event::SmallParameter::bytes));
  } else if (size != 0) {
    std::memcpy(to, from, size);
  }
}

void RemoveSmall(Event* event, Event::SmallParameter* parameter) {
  *parameter = event->small[event->small_count - 1];
  --event->small_count;
}

bool SetSmall(Event* event, unsigned int name, unsigned int type, unsigned long size, const void* data) {
  Event::SmallParameter* parameter = FindSmall(event, name);
  if (parameter == nullptr) {
    if (event->small_count == std::size(event->small)) return false;
    parameter = &event->small[event->small_count++];
  }
  parameter->name = name;
  parameter->type = type;
  parameter->size = size;
  CopySmall(parameter->bytes, data, size);
  return true;
}

void SetLarge(Event* event, unsigned int name, unsigned int type, unsigned long size, const void* data) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::vector<unsigned char> copy(bytes, bytes + size);
  if (Event::LargeParameter* parameter = FindLarge(event, name)) {
    parameter->type = type;
    parameter->bytes = std::move(copy);
    return;
  }
  if (event->large == nullptr) event->large = std::make_unique<std::vector<Event::LargeParameter>>();
  event->large->push_back({name, type, std::move(copy)});
}

/// What does not fit, or may not: a name stands once, among the small or among the large ones.
[[gnu::noinline]] bool SetSlowly(Event* event, unsigned int name, unsigned int type, unsigned long size,
                                 const void* data) {
  try {
    if (size <= sizeof event->small[0].bytes && FindLarge(event, name) == nullptr &&
        SetSmall(event, name, type, size, data)) {
      return true;
    }
    SetLarge(event, name, type, size, data);
    if (Event::SmallParameter* small = FindSmall(event, name)) RemoveSmall(event, small);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

[[gnu::noinline]] void FreeLarge(Event* event) { event->large.reset(); }

}  // namespace

Event* CreateEvent(unsigned int cls, unsigned int kind, bool) {
  Event* event = event_pool::Take();
  if (event == nullptr) return nullptr;
  event->references.store(1, std::memory_order_relaxed);
  event->small_count = 0;
  event->cls = cls;
  event->kind = kind;
  return event;
}

Event* RetainEvent(Event* event) {
  event->references.fetch_add(1, std::memory_order_relaxed);
  return event;
}

void ReleaseEvent(Event* event) {
  // The last reference needs no read-modify-write: nobody else can touch the count any more.
  if (event->references.load(std::memory_order_acquire) == 1 ||
      event->references.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    if (event->large != nullptr) [[unlikely]]
      FreeLarge(event);
    event_pool::Keep(event);
  }
}

unsigned int EventClass(const Event* event) { return event->cls; }

unsigned int EventKind(const Event* event) { return event->kind; }

bool SetEventParameter(Event* event, unsigned int name, unsigned int type, unsigned long size, const void* data) {
  if (data == nullptr && size != 0) return false;
  if (size <= sizeof event->small[0].bytes && event->large == nullptr && SetSmall(event, name, type, size, data)) {
    return true;
  }
  return SetSlowly(event, name, type, size, data);
}

bool GetEventParameter(const Event* event, unsigned int name, unsigned int type, unsigned long size, void* data) {
  auto* found = const_cast<Event*>(event);
  if (const Event::SmallParameter* small = FindSmall(found, name)) {
    if (small->type != type || small->size != size) return false;
    CopySmall(data, small->bytes, size);
    return true;
  }
  const Event::LargeParameter* large = FindLarge(found, name);
  if (large == nullptr || large->type != type || large->bytes.size() != size) return false;
  if (size != 0) std::memcpy(data, large->bytes.data(), size);
  return true;
}

}  // namespace platform
