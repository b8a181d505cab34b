#include <glib.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <memory>
#include <utility>
#include <vector>

#include <tillvane/core/LThreadRunOnMainThread.h>

#include "cpu.h"
#include "families.h"
#include "posting.h"

namespace bench {

namespace {

constexpr double kGlibGoal = 0.4;
constexpr const char* kNote =
    "A quiet machine has given 0.10 to 0.22 for all of these; four threads beside many other processes 0.36 to 0.41. "
    "Ours takes a lock and counts each piece of work for its sender, which the peers do not. No attempt without the "
    "lock is recorded.";

/// What everybody posts: an object of its own, whose virtual function is run on the main thread and which is then
/// freed.
class Work : public LThreadRunOnMainThreadData {
 public:
  explicit Work(int& handled) : handled_(handled) {}
  void MainThreadFunction() override { ++handled_; }

 private:
  int& handled_;
};

class OurDispatch : public OurLoop {
 public:
  OurDispatch() { LThreadRunOnMainThread::Init(); }
  ~OurDispatch() {
    sender_.ThreadRunOnMainThreadDestroy();
    LThreadRunOnMainThread::Destroy();
  }
  OurDispatch(const OurDispatch&) = delete;
  OurDispatch& operator=(const OurDispatch&) = delete;
  void Post() { sender_.RunOnMainThread(new Work(handled)); }

 private:
  LThreadRunOnMainThread sender_;
};

/// GLib calls two functions: one that runs the work, one that frees it.
class GlibDispatch : public GlibQueue {
 public:
  using GlibQueue::GlibQueue;

 protected:
  static gboolean RunWork(gpointer work) {
    static_cast<Work*>(work)->MainThreadFunction();
    return G_SOURCE_REMOVE;
  }
  static void FreeWork(gpointer work) { delete static_cast<Work*>(work); }
};

class IdleDispatch : public GlibDispatch {
 public:
  IdleDispatch() : GlibDispatch(g_main_context_ref(g_main_context_default())) {}
  void Post() { g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, RunWork, new Work(handled), FreeWork); }
};

/// As among the events, nobody owns the context, so that no call runs at once.
class InvokeDispatch : public GlibDispatch {
 public:
  InvokeDispatch() : GlibDispatch(g_main_context_new()) {}
  void Post() { g_main_context_invoke_full(context_, G_PRIORITY_DEFAULT, RunWork, new Work(handled), FreeWork); }
};

class AsioDispatch {
 public:
  void Post() {
    asio::post(context_, [this, work = std::make_unique<Work>(handled)] {
      work->MainThreadFunction();
      if (handled == target_) context_.stop();
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
  asio::io_context context_{1};
  asio::executor_work_guard<asio::io_context::executor_type> guard_ = asio::make_work_guard(context_);
  int target_ = -1;
};

std::vector<Peer> PeersOf(bool have_goals, Body idle, Body invoke, Body asio) {
  return {{"g_idle_add_full", std::move(idle), have_goals ? kGlibGoal : 0, kNote},
          {"g_main_context_invoke_full", std::move(invoke), have_goals ? kGlibGoal : 0, kNote},
          {"asio::post", std::move(asio)}};
}

template <int kCount>
Comparison MainThreadPosts(const char* title) {
  return {title,
          {Clock::kThread},
          "RunOnMainThread",
          FromMainThread<OurDispatch, kCount>,
          PeersOf(true, FromMainThread<IdleDispatch, kCount>, FromMainThread<InvokeDispatch, kCount>,
                  FromMainThread<AsioDispatch, kCount>),
          kCount};
}

Comparison ThreadsPost(const char* title, int threads, Place place) {
  const bool one_core = place.main_cpu == place.poster_cpu;
  return {title,
          one_core ? std::vector{Clock::kProcess} : std::vector{Clock::kProcess, Clock::kWall},
          "RunOnMainThread",
          FromThreads<OurDispatch>(threads, place),
          PeersOf(one_core, FromThreads<IdleDispatch>(threads, place), FromThreads<InvokeDispatch>(threads, place),
                  FromThreads<AsioDispatch>(threads, place)),
          kPostersBatch};
}

}  // namespace

void RunDispatchFamily(const Options& options, Results* results) {
  const std::vector<int> cpus = AllowedCpus();
  PrintHead("dispatch");
  Measure(MainThreadPosts<kBatch>("the main thread posts 1000, then runs them"), options, results);
  Measure(MainThreadPosts<1>("the main thread posts and runs one at a time"), options, results);
  if (cpus.empty()) return results->NoteFailure("dispatch: which processors there are");
  const Place one_core{cpus[0], cpus[0]};
  Measure(ThreadsPost("one other thread posts, all on one core", 1, one_core), options, results);
  Measure(ThreadsPost("four threads post, all on one core", 4, one_core), options, results);
  if (cpus.size() == 1) return;
  const Place two_cores{cpus[0], cpus[1]};
  Measure(ThreadsPost("one other thread posts from another core", 1, two_cores), options, results);
  Measure(ThreadsPost("four threads post from another core", 4, two_cores), options, results);
}

}  // namespace bench
