// The event queue's side towards loops: its source in GLib's default main context, and its descriptor for other hosts.

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <ctime>

#include <tillvane/platform/linux/event_queue_linux.h>
#include <tillvane/platform/linux/run_loop_linux.h>
#include <tillvane/platform/thread_id.h>

namespace platform {

namespace {

/// With events always at hand, the host's own sources still get a turn this often.
constexpr long long kTurnEveryNs = 2000000;
/// Within one tick of the clock, so many events are taken without asking it.
constexpr int kQuickOnes = 2;
/// While another thread has the default context, it is asked for again this often.
constexpr int kAskAgainMs = 10;

/// For the signal handler, which must not enter Get().
std::atomic<int> wake_descriptor{-1};

/// As exact as the system's tick, and read without a system call in the time that a small event takes.
long long CoarseNs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  return static_cast<long long>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

gint64 ToMicroseconds(double seconds) {
  // Longer than any wait asks for, and far from an overflow of the clock.
  return static_cast<gint64>(std::clamp(seconds, 0.0, 1e10) * 1e6);
}

/// Not the C library's write, where a poster that is to end would end: with its event queued already.
void Raise(int descriptor) {
  const eventfd_t one = 1;
  [[maybe_unused]] const long written = syscall(SYS_write, descriptor, &one, sizeof one);
}

/// GLib calls the C library's write.
void WakeDefaultContext() {
  int state;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
  g_main_context_wakeup(nullptr);
  pthread_setcancelstate(state, nullptr);
}

}  // namespace

struct EventQueue::Source {
  GSource base;
  EventQueue* queue;
  // Not a "unix fd" of the source: GLib would dispatch the source whenever that is readable, whatever its check says.
  GPollFD polled;
};

struct EventQueue::Turn {
  gint64 end_us;
  int depth;
  Turn* outer;

  /// As GLib and poll take it: whole milliseconds, rounded up so that the loop does not spin at the end.
  int RemainingMs() const {
    const gint64 left = end_us - g_get_monotonic_time();
    return static_cast<int>(std::clamp<gint64>((left + 999) / 1000, 0, INT_MAX));
  }
};

void EventQueue::OpenLoop() {
  descriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  wake_descriptor.store(descriptor_);
  static GSourceFuncs functions = {PrepareSource, CheckSource, DispatchSource, nullptr, nullptr, nullptr};
  GSource* source = g_source_new(&functions, sizeof(Source));
  source_ = reinterpret_cast<Source*>(source);
  source_->queue = this;
  source_->polled = {descriptor_, G_IO_IN, 0};
  if (descriptor_ >= 0) g_source_add_poll(source, &source_->polled);
  g_source_set_static_name(source, "tillvane event queue");
  // A handler may run a loop of its own, and events go on there.
  g_source_set_can_recurse(source, TRUE);
  g_source_attach(source, nullptr);
}

void EventQueue::CloseLoop() {
  wake_descriptor.store(-1);
  g_source_destroy(&source_->base);
  g_source_unref(&source_->base);
  source_ = nullptr;
  if (descriptor_ >= 0) close(descriptor_);
  descriptor_ = -1;
}

void EventQueue::Wake() {
  if (descriptor_ >= 0) {
    Raise(descriptor_);
  } else {
    WakeDefaultContext();
  }
}

void EventQueue::WakeFromSignalHandler() {
  const int kept = errno;
  const int descriptor = wake_descriptor.load();
  if (descriptor >= 0) Raise(descriptor);
  errno = kept;
}

void EventQueue::Silence() {
  eventfd_t count;
  [[maybe_unused]] const ssize_t got = read(descriptor_, &count, sizeof count);
}

int EventQueue::Descriptor() {
  if (descriptor_ >= 0 && !polled_by_host_.exchange(true) && HasPosted()) Wake();
  return descriptor_;
}

void EventQueue::SettleDescriptor() {
  if (!HasEvents() && !run_loop::IsQuit()) {
    Silence();
    // What came meanwhile has raised the descriptor, maybe just before it was silenced.
    if (!HasEvents() && !run_loop::IsQuit()) return;
  }
  Wake();
}

bool EventQueue::TurnIsDue() {
  const long long now = CoarseNs();
  quick_ones_ = now == last_look_ns_ ? kQuickOnes : 0;
  last_look_ns_ = now;
  return now - last_turn_ns_ >= kTurnEveryNs;
}

bool EventQueue::RunTurn(double seconds) {
  GMainContext* context = g_main_context_default();
  Turn turn{g_get_monotonic_time() + ToMicroseconds(seconds), g_main_depth(), turn_};
  bool dispatched = false;
  if (source_ != nullptr && g_main_context_acquire(context)) {
    turn_ = &turn;
    dispatched = g_main_context_iteration(context, seconds > 0) != FALSE;
    turn_ = turn.outer;
    g_main_context_release(context);
  } else {
    // Another thread has the default context, or the library has ended: only our own descriptor can be waited for.
    SleepOnDescriptor(turn);
  }
  last_turn_ns_ = CoarseNs();
  return dispatched;
}

void EventQueue::SleepOnDescriptor(const Turn& turn) {
  sleeping_.store(true);
  pollfd descriptor{descriptor_, POLLIN, 0};
  const int ms = std::min(turn.RemainingMs(), kAskAgainMs);
  if (!HasEvents() && poll(&descriptor, 1, ms) > 0 && !polled_by_host_.load()) Silence();
  sleeping_.store(false);
}

/// Is GLib's loop turning because of a Receive, and not because a source of the host's runs a loop inside of it?
bool EventQueue::OwnsTurn() const { return turn_ != nullptr && turn_->depth == g_main_depth(); }

/// GLib polls for what the source asks for after each question whether it is ready. A descriptor that stays readable
/// until the main thread comes round to it would make another thread's loop spin.
bool EventQueue::WatchesDescriptor(bool watches) {
  const gushort events = watches ? G_IO_IN : 0;
  std::atomic_ref(source_->polled.events).store(events, std::memory_order_relaxed);
  return watches;
}

// The three functions of the source. Where another thread runs the default context, they leave the queue alone: it is
// the main thread's, which then looks after it every few milliseconds of its waits.

gboolean EventQueue::PrepareSource(GSource* source, gint* timeout) noexcept {
  EventQueue& queue = *reinterpret_cast<Source*>(source)->queue;
  *timeout = -1;
  if (!queue.WatchesDescriptor(IsMainThread())) return FALSE;
  queue.sleeping_.store(true);
  const bool own = queue.OwnsTurn();
  const bool ready = queue.HasEvents() || (own ? run_loop::IsQuitForWait() : run_loop::IsQuitForBracket());
  if (ready) queue.sleeping_.store(false);
  // In a turn of its own the queue is never "ready": the Receive takes the event, and the host's sources, whatever
  // their priority, are not held back by a full queue.
  if (own) {
    *timeout = ready ? 0 : queue.turn_->RemainingMs();
    return FALSE;
  }
  return ready;
}

gboolean EventQueue::CheckSource(GSource* source) noexcept {
  EventQueue& queue = *reinterpret_cast<Source*>(source)->queue;
  const bool raised = reinterpret_cast<Source*>(source)->polled.revents != 0;
  if (!IsMainThread()) return FALSE;
  queue.sleeping_.store(false);
  // A host that polls the descriptor itself needs it raised until the queue is empty.
  if (raised) queue.polled_by_host_.load() ? queue.SettleDescriptor() : queue.Silence();
  if (queue.OwnsTurn()) return FALSE;
  return queue.HasEvents() || run_loop::IsQuitForBracket();
}

gboolean EventQueue::DispatchSource(GSource* source, GSourceFunc, gpointer) noexcept {
  EventQueue& queue = *reinterpret_cast<Source*>(source)->queue;
  if (!IsMainThread()) return G_SOURCE_CONTINUE;
  // Found ready in a turn of the host's, before a source beside it began a wait: the events are the wait's now.
  if (queue.turn_ != nullptr && queue.turn_->depth + 1 == g_main_depth()) return G_SOURCE_CONTINUE;
  run_loop::TakeQuitForBracket();
  queue.DispatchQueued();
  if (queue.polled_by_host_.load()) queue.SettleDescriptor();
  return G_SOURCE_CONTINUE;
}

}  // namespace platform
