#include <fcntl.h>
#include <glib.h>

#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/linux/event_queue_linux.h>
#include <tillvane/platform/linux/run_loop_linux.h>
#include <tillvane/platform/thread_id.h>

namespace platform {

/// A source of GLib's default main context that polls a descriptor only while no wake-up of its own is queued.
struct DescriptorWatch {
  GSource base;
  int descriptor;
  SocketCallOut call_out;
  gpointer tag;            ///< null while the descriptor is not polled
  Event* posted;           ///< what the call-out posted last, as long as it may be queued
  unsigned int run_loops;  ///< how many there were when the watch began
  bool called;             ///< the call-out has been
  bool ended;
};

namespace {

DescriptorWatch* Of(GSource* source) { return reinterpret_cast<DescriptorWatch*>(source); }

/// Asking for no condition would not do: a hang-up is reported all the same, and the loop would spin.
void StopPolling(DescriptorWatch* watch) {
  if (watch->tag != nullptr) g_source_remove_unix_fd(&watch->base, watch->tag);
  watch->tag = nullptr;
}

void Forget(DescriptorWatch* watch) {
  if (watch->posted != nullptr) ReleaseEvent(watch->posted);
  watch->posted = nullptr;
}

/// While a loop inside the wait runs, one call is enough: nobody there resets the object, and the wait asks it itself.
bool MayCallAgain(const DescriptorWatch* watch) {
  return !watch->called || (EventQueue::Get().OwnsTurn() && run_loop::Count() == watch->run_loops);
}

gboolean Prepare(GSource* source, gint* timeout) noexcept {
  DescriptorWatch* watch = Of(source);
  *timeout = -1;
  // Another thread runs the default context: the watch is not its.
  if (!IsMainThread()) return FALSE;
  if (watch->posted != nullptr && !watch->posted->queued.load(std::memory_order_relaxed)) Forget(watch);
  if (!watch->ended && watch->posted == nullptr && watch->tag == nullptr && MayCallAgain(watch)) {
    watch->tag = g_source_add_unix_fd(source, watch->descriptor, G_IO_IN);
  }
  return FALSE;
}

gboolean Check(GSource* source) noexcept {
  DescriptorWatch* watch = Of(source);
  if (!IsMainThread() || watch->tag == nullptr) return FALSE;
  const GIOCondition condition = g_source_query_unix_fd(source, watch->tag);
  if ((condition & G_IO_NVAL) != 0) {
    watch->ended = true;
    StopPolling(watch);
    return FALSE;
  }
  return condition != 0;
}

gboolean Dispatch(GSource* source, GSourceFunc, gpointer) noexcept {
  DescriptorWatch* watch = Of(source);
  if (!IsMainThread()) return G_SOURCE_CONTINUE;
  StopPolling(watch);
  watch->called = true;
  EventQueue::PostCapture capture;
  watch->call_out(watch, kReadCallBack, nullptr, nullptr, nullptr);
  Forget(watch);
  watch->posted = capture.Take();
  return G_SOURCE_CONTINUE;
}

}  // namespace

CFSocketRef WatchDescriptor(int descriptor, SocketCallOut call_out) {
  if (fcntl(descriptor, F_GETFD) < 0) return nullptr;
  static GSourceFuncs functions = {Prepare, Check, Dispatch, nullptr, nullptr, nullptr};
  GSource* source = g_source_new(&functions, sizeof(DescriptorWatch));
  DescriptorWatch* watch = Of(source);
  watch->descriptor = descriptor;
  watch->call_out = call_out;
  watch->tag = nullptr;
  watch->posted = nullptr;
  watch->run_loops = run_loop::Count();
  watch->called = false;
  watch->ended = false;
  g_source_set_static_name(source, "tillvane descriptor watch");
  g_source_attach(source, nullptr);
  return watch;
}

void StopWatching(CFSocketRef socket) {
  Forget(socket);
  g_source_destroy(&socket->base);
  g_source_unref(&socket->base);
}

int WatchedDescriptor(CFSocketRef socket) { return socket != nullptr ? socket->descriptor : -1; }

}  // namespace platform
