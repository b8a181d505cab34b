#include <tillvane/platform/linux/event_queue_linux.h>

#include <sched.h>

#include <ctime>
#include <utility>

#include <tillvane/platform/linux/never_destroyed_linux.h>
#include <tillvane/platform/linux/run_loop_linux.h>
#include <tillvane/platform/linux/thread_id_linux.h>

namespace platform {

namespace {

timespec ToTimespec(double seconds) {
  timespec time{};
  time.tv_sec = static_cast<time_t>(seconds);
  time.tv_nsec = static_cast<long>((seconds - static_cast<double>(time.tv_sec)) * 1e9);
  return time;
}

}  // namespace

void EventList::Prepend(Event* event) {
  event->next = first;
  event->previous = nullptr;
  (first != nullptr ? first->previous : last) = event;
  first = event;
}

void EventList::Append(Event* event) {
  event->next = nullptr;
  event->previous = last;
  (last != nullptr ? last->next : first) = event;
  last = event;
}

void EventList::Append(const EventList& other) {
  if (other.first == nullptr) return;
  other.first->previous = last;
  (last != nullptr ? last->next : first) = other.first;
  last = other.last;
}

void EventList::Remove(Event* event) {
  (event->previous != nullptr ? event->previous->next : first) = event->next;
  (event->next != nullptr ? event->next->previous : last) = event->previous;
}

EventQueue& EventQueue::Make() {
  static NeverDestroyed<EventQueue> queue;
  struct Closer {
    ~Closer() { queue.Get().Close(); }
  };
  static const Closer closer;
  made_.store(&queue.Get(), std::memory_order_release);
  return queue.Get();
}

EventQueue::EventQueue() { OpenLoop(); }

void EventQueue::Close() {
  CloseLoop();
  SortInbox();
  while (Event* event = TakeNext()) ReleaseEvent(event);
}

bool EventQueue::Post(Event* event, int priority) {
  if (priority < kLowPriority || priority > kHighPriority) return false;
  if (event->queued.load(std::memory_order_relaxed)) return false;
  if (PostCapture* capture = capture_.load(std::memory_order_relaxed); capture != nullptr && IsMainThread()) {
    if (capture->event_ != nullptr) ReleaseEvent(capture->event_);
    capture->event_ = RetainEvent(event);
  }
  event->priority = priority;
  event->queued.store(true, std::memory_order_relaxed);
  const bool was_empty = thread_id::IsMain() ? AppendSorted(event) : PushToInbox(event);
  if (polled_by_host_.load() ? was_empty : sleeping_.load() && sleeping_.exchange(false)) Wake();
  return true;
}

/// The main thread's own events need no inbox. \return was the queue empty?
bool EventQueue::AppendSorted(Event* event) {
  const bool was_empty = !HasEvents();
  if (inbox_.load(std::memory_order_relaxed) != nullptr) SortInbox();
  event->flush_pass = flush_pass_;
  lists_[event->priority].Append(event);
  posted_by_main_.store(posted_by_main_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  return was_empty;
}

/// \return was the inbox empty?
bool EventQueue::PushToInbox(Event* event) {
  posted_.fetch_add(1, std::memory_order_relaxed);
  const bool is_urgent = event->priority > kStandardPriority;
  Event* head = inbox_.load(std::memory_order_relaxed);
  // Sequentially consistent, as is the main thread's way to sleep: either it sees this event, or this sees it asleep.
  do event->next = head;
  while (!inbox_.compare_exchange_weak(head, event));
  // Afterwards: the main thread takes the mark away before it looks.
  if (is_urgent) has_urgent_.store(true);
  return head == nullptr;
}

EventQueue::PostCapture::PostCapture() : outer_(Get().capture_.exchange(this)) {}

EventQueue::PostCapture::~PostCapture() {
  Get().capture_.store(outer_);
  if (event_ != nullptr) ReleaseEvent(event_);
}

Event* EventQueue::PostCapture::Take() { return std::exchange(event_, nullptr); }

void EventQueue::SortInbox() {
  if (inbox_.load(std::memory_order_relaxed) == nullptr) return;
  EventList sorted[3];
  Event* event = inbox_.exchange(nullptr, std::memory_order_acquire);
  // From the newest to the oldest, each before those that came later.
  while (event != nullptr) {
    Event* const older = event->next;
    // A flush that is under way does not ask about what came after its beginning.
    event->flush_pass = flush_pass_;
    sorted[event->priority].Prepend(event);
    event = older;
  }
  for (int priority = kLowPriority; priority <= kHighPriority; ++priority) lists_[priority].Append(sorted[priority]);
}

/// As long as no event of the inbox can go ahead of what is sorted, the main thread leaves the posters' cache line
/// alone.
bool EventQueue::MustSortInbox() {
  if (lists_[kHighPriority].first != nullptr) return false;
  if (lists_[kStandardPriority].first == nullptr) return true;
  return has_urgent_.load(std::memory_order_relaxed) && has_urgent_.exchange(false);
}

bool EventQueue::HasEvents() const {
  for (const EventList& list : lists_) {
    if (list.first != nullptr) return true;
  }
  return inbox_.load() != nullptr;
}

void EventQueue::Unlink(Event* event) {
  for (FlushCursor* cursor = flushing_; cursor != nullptr; cursor = cursor->outer) {
    if (cursor->next == event) cursor->next = event->next;
  }
  lists_[event->priority].Remove(event);
  event->queued.store(false, std::memory_order_relaxed);
  // Only the main thread writes it: no read-modify-write is needed.
  taken_.store(taken_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}

Event* EventQueue::TakeNext() {
  if (MustSortInbox()) SortInbox();
  for (int priority = kHighPriority; priority >= kLowPriority; --priority) {
    if (Event* event = lists_[priority].first) {
      Unlink(event);
      return event;
    }
  }
  return nullptr;
}

unsigned int EventQueue::Count() const {
  // In this order the difference cannot be negative.
  const unsigned int taken = taken_.load();
  return posted_.load() + posted_by_main_.load() - taken;
}

Received EventQueue::Receive(double seconds, Event** event) {
  // Almost always an event is at hand, and there is nothing else to look at.
  if (thread_id::IsMain() && !run_loop::quit.load(std::memory_order_relaxed) &&
      !polled_by_host_.load(std::memory_order_relaxed) && quick_ones_ > 0) {
    --quick_ones_;
    *event = TakeNext();
    if (*event != nullptr) return Received::kEvent;
  }
  return ReceiveSlowly(seconds, event);
}

Received EventQueue::ReceiveSlowly(double seconds, Event** event) {
  *event = nullptr;
  if (!IsMainThread()) {
    const timespec time = ToTimespec(seconds);
    nanosleep(&time, nullptr);
    return Received::kNothing;
  }
  const Received received = ReceiveOnMainThread(seconds, event);
  if (polled_by_host_.load(std::memory_order_relaxed)) SettleDescriptor();
  return received;
}

Received EventQueue::ReceiveOnMainThread(double seconds, Event** event) {
  // Whoever only looks what is there neither takes the stop from the wait around it nor goes away without an event.
  const bool may_answer_nothing = seconds > 0;
  if (may_answer_nothing && run_loop::TakeQuitForWait()) return Received::kQuit;
  if (may_answer_nothing) LetPostersGoOn();
  if (HasEvents()) {
    // What a source of the host's did comes first: the caller is to ask whether to stop before it goes on.
    if (TurnIsDue() && RunTurn(0) && may_answer_nothing) return Received::kNothing;
  } else if (RunTurn(seconds) && may_answer_nothing) {
    return Received::kNothing;
  }
  if (may_answer_nothing && run_loop::TakeQuitForWait()) return Received::kQuit;
  *event = TakeNext();
  return *event != nullptr ? Received::kEvent : Received::kNothing;
}

/// Whoever posts one event after the other is to go on before the main thread sleeps, so that one wake-up brings many.
void EventQueue::LetPostersGoOn() {
  constexpr unsigned int flood = 16;
  if (HasEvents()) return;
  const unsigned int taken = taken_.load(std::memory_order_relaxed);
  if (taken - taken_at_sleep_ >= flood) sched_yield();
  taken_at_sleep_ = taken;
}

bool EventQueue::DispatchQueued() {
  bool any = false;
  // What the handlers post is for the next time; what they receive themselves is gone.
  for (unsigned int left = Count(); left > 0; --left) {
    Event* event = TakeNext();
    if (event == nullptr) break;
    handlers_.Dispatch(event);
    ReleaseEvent(event);
    any = true;
  }
  return any;
}

bool EventQueue::Drain() {
  if (!IsMainThread()) return false;
  run_loop::TakeQuitForBracket();
  RunTurn(0);
  const bool any = DispatchQueued();
  if (polled_by_host_.load(std::memory_order_relaxed)) SettleDescriptor();
  return any;
}

unsigned int EventQueue::Flush(bool (*predicate)(Event*, void*), void* data) {
  SortInbox();
  const unsigned int pass = ++flush_pass_;
  unsigned int flushed = 0;
  FlushCursor cursor{nullptr, flushing_};
  flushing_ = &cursor;
  for (const EventList& list : lists_) {
    cursor.next = list.first;
    // What was not there when this flush began stands behind what was.
    while (cursor.next != nullptr && IsBeforeFlush(cursor.next->flush_pass, pass)) {
      Event* const event = cursor.next;
      cursor.next = event->next;
      if (FlushOne(event, predicate, data)) ++flushed;
    }
  }
  flushing_ = cursor.outer;
  if (polled_by_host_.load(std::memory_order_relaxed)) SettleDescriptor();
  return flushed;
}

bool EventQueue::FlushOne(Event* event, bool (*predicate)(Event*, void*), void* data) {
  RetainEvent(event);
  const bool remove = predicate(event, data) && event->queued.load(std::memory_order_relaxed);
  if (remove) {
    // The predicate may have received the event and posted it again.
    SortInbox();
    Unlink(event);
    ReleaseEvent(event);
  }
  ReleaseEvent(event);
  return remove;
}

bool PostEvent(Event* event, int priority) { return PostAndReleaseEvent(RetainEvent(event), priority); }

bool PostAndReleaseEvent(Event* event, int priority) {
  const bool posted = EventQueue::Get().Post(event, priority);
  if (!posted) ReleaseEvent(event);
  return posted;
}

Received ReceiveEvent(double seconds, Event** event) { return EventQueue::Get().Receive(seconds, event); }

bool DispatchEvent(Event* event) { return EventQueue::Get().Handlers().Dispatch(event); }

EventHandler* InstallEventHandler(unsigned int cls, unsigned int kind, EventHandlerFunction function, void* data) {
  return EventQueue::Get().Handlers().Install(cls, kind, function, data);
}

void RemoveEventHandler(EventHandler* handler) { EventQueue::Get().Handlers().Remove(handler); }

unsigned int CountEvents() { return EventQueue::Get().Count(); }

unsigned int FlushEvents(bool (*predicate)(Event* event, void* data), void* data) {
  return EventQueue::Get().Flush(predicate, data);
}

int EventQueueDescriptor() { return EventQueue::Get().Descriptor(); }

bool DrainEventQueue() { return EventQueue::Get().Drain(); }

}  // namespace platform
