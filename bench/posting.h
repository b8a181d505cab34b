#pragma once

/// \file
/// What the measurements of queues have in common: who posts, and where.

#include <benchmark/benchmark.h>
#include <glib.h>

#include <atomic>
#include <barrier>
#include <thread>
#include <vector>

#include <tillvane/platform/event_queue.h>

#include "comparison.h"
#include "cpu.h"

namespace bench {

inline constexpr int kBatch = 1000;
/// Of all posting threads together: long beside the moment that they need to start.
inline constexpr int kPostersBatch = 12000;

// What threads post to. Each has Post(), on any thread, after which the main thread adds one to `handled`; Run(n),
// which dispatches what is queued until `handled` is n, and gives up when nothing is left; and most have RunWaiting(n),
// which sleeps when nothing is left. Run and RunWaiting: main thread.

/// Our main loop: receives one event after the other.
class OurLoop {
 public:
  void Run(int n) {
    while (handled < n && ReceiveAndDispatch(0)) {
    }
  }
  void RunWaiting(int n) {
    while (handled < n) ReceiveAndDispatch(1);
  }

  int handled = 0;

 private:
  static bool ReceiveAndDispatch(double seconds) {
    platform::Event* event = nullptr;
    if (platform::ReceiveEvent(seconds, &event) != platform::Received::kEvent) return false;
    platform::DispatchEvent(event);
    platform::ReleaseEvent(event);
    return true;
  }
};

/// A main loop of GLib's over a context.
class GlibQueue {
 public:
  explicit GlibQueue(GMainContext* context) : context_(context) {}
  ~GlibQueue() { g_main_context_unref(context_); }
  GlibQueue(const GlibQueue&) = delete;
  GlibQueue& operator=(const GlibQueue&) = delete;
  void Run(int n) {
    while (handled < n && g_main_context_iteration(context_, FALSE)) {
    }
  }
  void RunWaiting(int n) {
    while (handled < n) g_main_context_iteration(context_, TRUE);
  }

  int handled = 0;

 protected:
  static gboolean Handle(gpointer queue) {
    ++static_cast<GlibQueue*>(queue)->handled;
    return G_SOURCE_REMOVE;
  }

  GMainContext* const context_;
};

/// Threads on one processor that post so many events each at every Go().
template <class Queue>
class Posters {
 public:
  Posters(Queue& queue, int threads, int each, int cpu) : start_(threads + 1) {
    for (int i = 0; i < threads; ++i) threads_.emplace_back([this, &queue, each, cpu] { Run(queue, each, cpu); });
  }
  ~Posters() {
    ending_ = true;
    Go();
    for (std::thread& thread : threads_) thread.join();
  }
  Posters(const Posters&) = delete;
  Posters& operator=(const Posters&) = delete;

  void Go() { start_.arrive_and_wait(); }

 private:
  void Run(Queue& queue, int each, int cpu) {
    const Pinned pinned(cpu);
    for (;;) {
      start_.arrive_and_wait();
      if (ending_) return;
      for (int i = 0; i < each; ++i) queue.Post();
    }
  }

  std::barrier<> start_;
  std::atomic<bool> ending_{false};
  std::vector<std::thread> threads_;
};

/// The main thread posts a batch, then dispatches it.
template <class Queue, int kEvents>
void FromMainThread(benchmark::State& state) {
  Queue queue;
  for (auto _ : state) {
    queue.handled = 0;
    for (int i = 0; i < kEvents; ++i) queue.Post();
    queue.Run(kEvents);
    if (queue.handled != kEvents) {
      state.SkipWithError("not every event was dispatched");
      break;
    }
  }
}

struct Place {
  int main_cpu, poster_cpu;
};

/// Other threads post while the main thread dispatches.
template <class Queue>
Body FromThreads(int threads, Place place) {
  return [=](benchmark::State& state) {
    const Pinned pinned(place.main_cpu);
    if (pinned.HasFailed()) state.SkipWithError("the system refused to pin the thread");
    Queue queue;
    Posters<Queue> posters(queue, threads, kPostersBatch / threads, place.poster_cpu);
    for (auto _ : state) {
      queue.handled = 0;
      posters.Go();
      queue.RunWaiting(kPostersBatch);
    }
  };
}

}  // namespace bench
