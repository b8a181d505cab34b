#pragma once

#include <glib.h>

#include <atomic>

#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/linux/event_handlers_linux.h>
#include <tillvane/platform/linux/event_linux.h>

namespace platform {

/// A first-in-first-out list through the events themselves. Not synchronised.
struct EventList {
  Event* first = nullptr;
  Event* last = nullptr;

  void Prepend(Event* event);
  void Append(Event* event);
  /// Appends the events of another list, which must not be used any more.
  void Append(const EventList& other);
  void Remove(Event* event);
};

template <class T>
class NeverDestroyed;

/// The main thread's queue, and its source in GLib's default main context.
///
/// Other threads push onto `inbox_`, a stack that the main thread swaps out whole and sorts into its own lists, one for
/// each priority; so posting takes no lock, and a high-priority event overtakes those that were sorted before it. A
/// poster makes a system call only when the main thread said that it is about to sleep, or when a host polls the
/// descriptor.
class EventQueue {
 public:
  static EventQueue& Get() {
    EventQueue* made = made_.load(std::memory_order_acquire);
    return made != nullptr ? *made : Make();
  }
  EventQueue(const EventQueue&) = delete;
  EventQueue& operator=(const EventQueue&) = delete;

  /// Takes the caller's reference where it answers true.
  bool Post(Event* event, int priority);
  Received Receive(double seconds, Event** event);
  unsigned int Count() const;
  unsigned int Flush(bool (*predicate)(Event*, void*), void* data);
  EventHandlers& Handlers() { return handlers_; }
  /// Is GLib's loop turning because of a Receive, and not because a source of the host's runs a loop inside of it?
  bool OwnsTurn() const;

  /// The descriptor for a host with another loop; from then on it follows the state of the queue.
  int Descriptor();
  bool Drain();

  /// While this lives, the last event that the main thread posts is noted.
  class PostCapture {
   public:
    PostCapture();
    ~PostCapture();
    /// Null, or an event that the caller releases.
    Event* Take();

   private:
    friend class EventQueue;
    Event* event_ = nullptr;
    PostCapture* outer_;
  };

  /// Async-signal-safe, once the queue is there.
  static void WakeFromSignalHandler();

 private:
  struct Source;
  /// One turn of GLib's loop that a Receive runs.
  struct Turn;
  /// Where a flush goes on; its predicate may take that event out of the queue.
  struct FlushCursor {
    Event* next;
    FlushCursor* outer;
  };

  friend class NeverDestroyed<EventQueue>;

  static EventQueue& Make();
  EventQueue();
  /// At the library's end. The object stays usable: a host's own last functions may still post and wait.
  void Close();

  void OpenLoop();
  void CloseLoop();
  [[gnu::noinline]] Received ReceiveSlowly(double seconds, Event** event);
  Received ReceiveOnMainThread(double seconds, Event** event);
  bool AppendSorted(Event* event);
  bool PushToInbox(Event* event);
  bool MustSortInbox();
  void SortInbox();
  Event* TakeNext();
  void Unlink(Event* event);
  bool HasEvents() const;
  bool HasPosted() const { return Count() != 0; }
  void LetPostersGoOn();
  bool TurnIsDue();
  bool RunTurn(double seconds);
  void SleepOnDescriptor(const Turn& turn);
  bool DispatchQueued();
  bool FlushOne(Event* event, bool (*predicate)(Event*, void*), void* data);
  void Wake();
  void Silence();
  void SettleDescriptor();
  bool WatchesDescriptor(bool watches);

  static gboolean PrepareSource(GSource* source, gint* timeout) noexcept;
  static gboolean CheckSource(GSource* source) noexcept;
  static gboolean DispatchSource(GSource* source, GSourceFunc, gpointer) noexcept;

  static inline constinit std::atomic<EventQueue*> made_{nullptr};
  // Written by posters.
  alignas(64) std::atomic<Event*> inbox_{nullptr};
  std::atomic<unsigned int> posted_{0};
  // Read by posters, written seldom.
  alignas(64) std::atomic<bool> sleeping_{false};
  std::atomic<bool> polled_by_host_{false};
  std::atomic<bool> has_urgent_{false};  ///< may the inbox hold an event of high priority?
  std::atomic<PostCapture*> capture_{nullptr};
  int descriptor_ = -1;
  // The main thread's own.
  alignas(64) EventList lists_[3];
  // Written by the main thread only, so that no read-modify-write is needed.
  std::atomic<unsigned int> posted_by_main_{0};
  std::atomic<unsigned int> taken_{0};
  unsigned int flush_pass_ = 0;
  FlushCursor* flushing_ = nullptr;
  unsigned int taken_at_sleep_ = 0;
  int quick_ones_ = 0;  ///< so many events may be taken before the clock is asked again
  long long last_look_ns_ = 0;
  long long last_turn_ns_ = 0;
  Turn* turn_ = nullptr;
  Source* source_ = nullptr;
  EventHandlers handlers_;
};

}  // namespace platform
