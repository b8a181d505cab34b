// Small hosts, each in a process of its own: `event_loop_host NAME`. A host says "ready" where its parent may go on,
// and what went wrong on standard error; it ends with 0 when nothing did.

#include <glib.h>
#include <poll.h>
#include <signal.h>
#include <time.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <thread>
#include <utility>

#include <tests/support/waiting.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/LProcessInterface.h>
#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/run_loop.h>
#include <tillvane/platform/thread_id.h>

namespace {

using support::kLongMs;
using support::kSoonMs;
using support::Later;
using support::Stopwatch;

std::atomic<int> failures{0};

void Expect(bool is_true, const char* what) {
  if (is_true) return;
  std::fprintf(stderr, "not so: %s\n", what);
  ++failures;
}

void Ready() {
  std::puts("ready");
  std::fflush(stdout);
}

/// Milliseconds that the processor has spent on this process.
long long BusyMs() {
  timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<long long>(time.tv_sec) * 1000 + time.tv_nsec / 1000000;
}

/// Handles all events of class 1 and `kind` for the rest of the process's life.
void Handle(unsigned int kind, std::function<void()> function) {
  static std::deque<std::function<void()>> functions;
  functions.push_back(std::move(function));
  platform::InstallEventHandler(
      1, kind,
      [](platform::Event*, void* data) {
        (*static_cast<std::function<void()>*>(data))();
        return true;
      },
      &functions.back());
}

void Post(unsigned int kind) { LEventQueuePost(1, kind, 1); }

bool IsReadable(int descriptor, int ms) {
  pollfd polled{descriptor, POLLIN, 0};
  return poll(&polled, 1, ms) == 1;
}

class Stoppable : public LProcessEventsHandler {
 public:
  bool IsProcessEventHandlerToStop() const override { return stop; }
  bool stop = false;
};

// --- A host with GLib's loop ---

/// It runs its own loop and knows nothing of the queue, which begins with another thread's first event.
void RunGlibHost() {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  const auto here = std::this_thread::get_id();
  std::atomic<int> handled{0};
  std::function<void()> count = [&] {
    Expect(std::this_thread::get_id() == here, "events are handled on the main thread");
    ++handled;
  };
  const auto install = [](gpointer data) -> gboolean {
    Handle(1, *static_cast<std::function<void()>*>(data));
    return G_SOURCE_REMOVE;
  };
  const Later later(30, [&] {
    Post(2);
    Expect(support::WaitUntil([] { return LEventQueueCount() == 0; }), "the loop that sleeps notices the new queue");
    g_idle_add(install, &count);
    for (int i = 0; i < 100; ++i) {
      support::SleepMs(i % 10 == 0 ? 1 : 0);
      Post(i < 50 ? 2 : 1);
    }
    Expect(support::WaitUntil([&] { return handled == 50; }), "the loop dispatches events as they come");
    g_main_loop_quit(loop);
  });
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
}

/// After its events it sleeps: nothing is left that wakes its loop.
void RestInGlibHost() {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  Post(1);
  const guint end = g_timeout_add(
      400,
      [](gpointer data) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(data));
        return G_SOURCE_CONTINUE;
      },
      loop);
  const long long busy = BusyMs();
  g_main_loop_run(loop);
  Expect(BusyMs() - busy < 200, "a loop without work rests");
  Expect(LEventQueueCount() == 0, "the event was taken");
  g_source_remove(end);
  g_main_loop_unref(loop);
}

/// A source of the host's that is older than the queue, and that the loop found ready in the same turn, begins a wait:
/// the events are the wait's, and not the loop's.
void WaitBesideTheQueue() {
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  GSource* source = g_idle_source_new();
  g_source_set_priority(source, G_PRIORITY_DEFAULT);
  const auto wait = [](gpointer data) -> gboolean {
    const Stopwatch watch;
    Expect(ProcessWaitAndProcessEvents(2 * static_cast<unsigned int>(kSoonMs)) == 1,
           "an event of kind 3 ends the pause");
    Expect(watch.Ms() < kSoonMs, "well before its time");
    g_main_loop_quit(static_cast<GMainLoop*>(data));
    return G_SOURCE_REMOVE;
  };
  g_source_set_callback(source, wait, loop, nullptr);
  g_source_attach(source, nullptr);
  Post(3);
  g_main_loop_run(loop);
  g_source_unref(source);
  g_main_loop_unref(loop);
}

// --- A host without GLib's loop ---

void DrainInPlainHost() {
  int handled = 0;
  Handle(1, [&] { ++handled; });
  Post(1);
  const int descriptor = LEventQueueDescriptor();
  Expect(IsReadable(descriptor, 0), "an event posted before the descriptor was asked for makes it readable");
  Expect(LEventQueueDrain(), "there was one to drain");
  Expect(!IsReadable(descriptor, 0), "after the last event it is silent");
  const Later later(30, [] {
    for (int i = 0; i < 100; ++i) Post(1);
  });
  int turns = 0;
  while (handled < 101 && IsReadable(descriptor, static_cast<int>(kLongMs))) {
    LEventQueueDrain();
    ++turns;
  }
  Expect(handled == 101, "every event was drained");
  Expect(turns <= 200, "no turn was in vain for long");
  Expect(!IsReadable(descriptor, 0), "after the last event it is silent");
}

void WaitInPlainHost() {
  const int descriptor = LEventQueueDescriptor();
  LSignalObject signal;
  Stoppable handler;
  int handled = 0;
  Handle(1, [&] { ++handled; });
  const Stopwatch watch;
  const Later later(30, [&] {
    Post(1);
    support::SleepMs(20);
    signal.Signal();
  });
  Expect(handler.ProcessWaitSignalAndProcessEvents(signal, kLongMs) == 0, "the signal ends the wait");
  Expect(handled == 1, "the wait dispatches");
  Expect(watch.Ms() < kSoonMs, "well before its time");
  const long long busy = BusyMs();
  ProcessWaitAndProcessEvents(400);
  Expect(BusyMs() - busy < 200, "a wait without events rests");
  Expect(!IsReadable(descriptor, 0), "after the waits it is silent");
}

// --- Signals that ask the run loop to stop ---

std::atomic<bool> in_signal_handler{false};
std::atomic<int> stops{0};

void StopOnSignal(int) {
  in_signal_handler = true;
  if (!platform::StopRunLoop()) failures = 100;
  in_signal_handler = false;
}

void NoteStop(void* data) {
  Expect(!in_signal_handler, "stop is called from the loop, not from the signal's handler");
  ++stops;
  if (data != nullptr) g_main_loop_quit(static_cast<GMainLoop*>(data));
}

void StopGlibHost() {
  signal(SIGTERM, &StopOnSignal);
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  LRunLoopEnter(&NoteStop, loop);
  Ready();
  g_main_loop_run(loop);
  LRunLoopLeave();
  Expect(stops == 1, "stopped once");
  g_main_loop_unref(loop);
}

void StopPlainHost() {
  signal(SIGTERM, &StopOnSignal);
  LRunLoopEnter(&NoteStop, nullptr);
  const int descriptor = LEventQueueDescriptor();
  Ready();
  const Stopwatch watch;
  while (stops == 0 && watch.Ms() < kLongMs) {
    if (IsReadable(descriptor, 1000)) LEventQueueDrain();
  }
  LRunLoopLeave();
  Expect(stops == 1, "stopped once");
  Expect(!IsReadable(descriptor, 0), "the request is over");
}

void StopWait() {
  signal(SIGTERM, &StopOnSignal);
  LSignalObject never;
  Stoppable handler;
  const Stopwatch watch;
  // The wait is a run loop only once it has begun.
  Handle(1, &Ready);
  Post(1);
  Expect(handler.ProcessWaitSignalAndProcessEvents(never, kLongMs) == 2, "a quit ends a timed wait for a signal");
  Expect(watch.Ms() < kSoonMs, "well before its time");
  Expect(!platform::HasRunLoop(), "the run loop is over");
  const Stopwatch second;
  Expect(handler.ProcessWaitSignalAndProcessEvents(never, 50) == 2, "the next wait takes its time");
  Expect(second.Ms() >= 49, "the request was answered once");
}

void StopNothing() {
  Expect(!platform::HasRunLoop(), "there is no run loop");
  Expect(!platform::StopRunLoop(), "nothing to stop");
  LSignalObject never;
  const Stopwatch watch;
  Expect(Stoppable().ProcessWaitSignalAndProcessEvents(never, 50) == 2, "the time passes");
  Expect(watch.Ms() >= 49, "a request without a run loop is not kept");
}

/// Many signals while events come and go: none may be lost for good, none may break the queue.
void StopAgainAndAgain() {
  signal(SIGTERM, &StopOnSignal);
  int left = 200;
  const int wanted = left;
  LRunLoopEnter([](void*) { ++stops; }, nullptr);
  Handle(1, [&] {
    if (--left > 0) Post(1);
  });
  Post(1);
  const int descriptor = LEventQueueDescriptor();
  while (left > 0 && IsReadable(descriptor, static_cast<int>(kLongMs))) {
    raise(SIGTERM);
    LEventQueueDrain();
  }
  LRunLoopLeave();
  Expect(left == 0, "all events were handled");
  Expect(stops == wanted, "every request was answered");
}

// --- Threads ---

/// The main thread is the one that the process began with, even where another one asks first.
void AskOnAnotherThreadFirst() {
  std::thread([] { Expect(!platform::IsMainThread(), "another thread is not the main thread"); }).join();
  Expect(platform::IsMainThread(), "the first thread is the main thread");
  std::thread([] { Expect(!platform::IsMainThread(), "nor is a later one"); }).join();
}

// --- Pauses ---

/// Its parent ends it: this is a pause of nearly fifty days.
void PauseForAllBits() {
  signal(SIGUSR1, [](int) {});
  Ready();
  LProcessInterfaceVoid().ProcessWait(0xFFFFFFFF);
  Expect(false, "the pause does not end");
}

struct Host {
  const char* name;
  void (*run)();
};

constexpr Host kHosts[] = {
    {"glib", &RunGlibHost},
    {"glib-rest", &RestInGlibHost},
    {"glib-beside", &WaitBesideTheQueue},
    {"plain", &DrainInPlainHost},
    {"plain-wait", &WaitInPlainHost},
    {"stop-glib", &StopGlibHost},
    {"stop-plain", &StopPlainHost},
    {"stop-wait", &StopWait},
    {"stop-nothing", &StopNothing},
    {"stop-often", &StopAgainAndAgain},
    {"main-thread", &AskOnAnotherThreadFirst},
    {"pause", &PauseForAllBits},
};

}  // namespace

int main(int argc, char** argv) {
  for (const Host& host : kHosts) {
    if (argc == 2 && std::strcmp(argv[1], host.name) == 0) {
      host.run();
      return failures;
    }
  }
  std::fprintf(stderr, "there is no such host\n");
  return 99;
}
