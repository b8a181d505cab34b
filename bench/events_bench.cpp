#include <glib.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <utility>
#include <vector>

#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/platform/event_queue.h>

#include "cpu.h"
#include "families.h"
#include "posting.h"

namespace bench {

namespace {

constexpr unsigned int kClass = 0x426E6368;  // 'Bnch'
constexpr unsigned int kKind = 0x4576656E;   // 'Even'
/// An event of this kind ends a timed pause.
constexpr unsigned int kEndingKind = 3;
constexpr double kAsioGoal = 0.6;
constexpr double kInvokeGoal = 0.1;

class OurQueue : public OurLoop {
 public:
  ~OurQueue() { platform::RemoveEventHandler(handler_); }
  void Post() { LEventQueuePost(kClass, kKind, platform::kStandardPriority); }

 private:
  static bool Handle(platform::Event*, void* queue) {
    ++static_cast<OurQueue*>(queue)->handled;
    return true;
  }

  platform::EventHandler* handler_ = platform::InstallEventHandler(kClass, kKind, Handle, this);
};

/// Dispatched by the public call that empties the queue.
class OurQueueCleared : public OurQueue {
 public:
  void Run(int) { LProcessClearEventQueue(); }
};

/// Dispatched by the public timed wait, which one more event ends. It reads the clock and asks whether to stop after
/// every event, as it has to.
class OurQueueInAWait : public OurQueue {
 public:
  void Run(int) {
    LEventQueuePost(kClass, kEndingKind, platform::kStandardPriority);
    ProcessWaitAndProcessEvents(60000);
  }
};

class AsioQueue {
 public:
  void Post() {
    asio::post(context_, [this] {
      if (++handled == target_) context_.stop();
    });
  }
  void Run(int n) {
    while (handled < n && context_.poll() > 0) {
    }
  }
  void RunWaiting(int n) {
    target_ = n;
    context_.restart();
    context_.run();
  }

  int handled = 0;

 private:
  /// One thread runs it, and it is told so: its fastest form that other threads may post to.
  asio::io_context context_{1};
  asio::executor_work_guard<asio::io_context::executor_type> work_ = asio::make_work_guard(context_);
  int target_ = -1;
};

/// The context is no thread's default one, and the posting thread never owns it: every call is queued, none runs inside
/// g_main_context_invoke_full.
class InvokeQueue : public GlibQueue {
 public:
  InvokeQueue() : GlibQueue(g_main_context_new()) {}
  void Post() {
    g_main_context_invoke_full(context_, G_PRIORITY_DEFAULT, Handle, static_cast<GlibQueue*>(this), nullptr);
  }
};

class IdleQueue : public GlibQueue {
 public:
  IdleQueue() : GlibQueue(g_main_context_ref(g_main_context_default())) {}
  void Post() { g_idle_add(Handle, static_cast<GlibQueue*>(this)); }
};

std::vector<Peer> PeersOf(bool have_goals, Body asio, Body invoke, Body idle) {
  return {{"asio::post", std::move(asio), have_goals ? kAsioGoal : 0},
          {"g_main_context_invoke_full", std::move(invoke), have_goals ? kInvokeGoal : 0},
          {"g_idle_add", std::move(idle)}};
}

template <class Queue, int kEvents>
Comparison MainThreadPosts(const char* title, const char* name, bool has_goals) {
  return {title,
          {Clock::kThread},
          name,
          FromMainThread<Queue, kEvents>,
          PeersOf(has_goals, FromMainThread<AsioQueue, kEvents>, FromMainThread<InvokeQueue, kEvents>,
                  FromMainThread<IdleQueue, kEvents>),
          kEvents};
}

Comparison ThreadsPost(const char* title, int threads, Place place) {
  const bool one_core = place.main_cpu == place.poster_cpu;
  return {title,
          one_core ? std::vector{Clock::kProcess} : std::vector{Clock::kProcess, Clock::kWall},
          "LEventQueuePost, receive, dispatch",
          FromThreads<OurQueue>(threads, place),
          PeersOf(one_core, FromThreads<AsioQueue>(threads, place), FromThreads<InvokeQueue>(threads, place),
                  FromThreads<IdleQueue>(threads, place)),
          kPostersBatch};
}

std::vector<Comparison> MainThreadPostings() {
  const char* const receive = "LEventQueuePost, receive, dispatch";
  const char* const clear = "LEventQueuePost, LProcessClearEventQueue";
  const char* const wait = "LEventQueuePost, ProcessWaitAndProcessEvents";
  return {MainThreadPosts<OurQueue, kBatch>("one thread, 1000 posted, then dispatched", receive, true),
          MainThreadPosts<OurQueueCleared, kBatch>("one thread, 1000 posted, then the queue cleared", clear, true),
          MainThreadPosts<OurQueueInAWait, kBatch>("one thread, 1000 posted, then a timed wait", wait, false),
          MainThreadPosts<OurQueue, 1>("one thread, one event at a time", receive, true)};
}

}  // namespace

void RunEventsFamily(const Options& options, Results* results) {
  const std::vector<int> cpus = AllowedCpus();
  PrintHead("events");
  for (const Comparison& comparison : MainThreadPostings()) Measure(comparison, options, results);
  if (cpus.empty()) return results->NoteFailure("events: which processors there are");
  const Place one_core{cpus[0], cpus[0]};
  Measure(ThreadsPost("one other thread posts, all on one core", 1, one_core), options, results);
  Measure(ThreadsPost("four threads post, all on one core", 4, one_core), options, results);
  if (cpus.size() == 1) return;
  const Place two_cores{cpus[0], cpus[1]};
  Measure(ThreadsPost("one other thread posts from another core", 1, two_cores), options, results);
  Measure(ThreadsPost("four threads post from another core", 4, two_cores), options, results);
}

}  // namespace bench
