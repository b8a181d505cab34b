#pragma once

#include <glib.h>

#include <atomic>
#include <functional>
#include <utility>

/// \file
/// A host's own sources in GLib's default main context, for tests.

namespace support {

/// Calls a function every `ms` milliseconds while it lives, or, without a time, whenever the loop is idle; counts.
class HostSource {
 public:
  static constexpr int kIdle = -1;

  explicit HostSource(int ms, std::function<void()> function = {}, int priority = G_PRIORITY_DEFAULT)
      : source_(ms == kIdle ? g_idle_source_new() : g_timeout_source_new(static_cast<guint>(ms))),
        function_(std::move(function)) {
    g_source_set_priority(source_, priority);
    g_source_set_callback(source_, &HostSource::OnTurn, this, nullptr);
    g_source_attach(source_, nullptr);
  }
  ~HostSource() {
    g_source_destroy(source_);
    g_source_unref(source_);
  }
  HostSource(const HostSource&) = delete;
  HostSource& operator=(const HostSource&) = delete;

  int Count() const { return count_; }

 private:
  static gboolean OnTurn(gpointer data) {
    auto& self = *static_cast<HostSource*>(data);
    ++self.count_;
    if (self.function_) self.function_();
    return G_SOURCE_CONTINUE;
  }

  GSource* source_;
  std::function<void()> function_;
  int count_ = 0;
};

/// Counts how often the main loop polls while this lives: a loop that spins does so thousands of times a second.
class PollCounter {
 public:
  PollCounter() {
    polls = 0;
    g_main_context_set_poll_func(nullptr, &PollCounter::Poll);
  }
  ~PollCounter() { g_main_context_set_poll_func(nullptr, nullptr); }
  PollCounter(const PollCounter&) = delete;
  PollCounter& operator=(const PollCounter&) = delete;

  int Count() const { return polls; }

 private:
  static gint Poll(GPollFD* descriptors, guint count, gint timeout) {
    ++polls;
    return g_poll(descriptors, count, timeout);
  }

  static inline std::atomic<int> polls{0};
};

/// A main loop of the host's, which another function ends.
class HostLoop {
 public:
  HostLoop() : loop_(g_main_loop_new(nullptr, FALSE)) {}
  ~HostLoop() { g_main_loop_unref(loop_); }
  HostLoop(const HostLoop&) = delete;
  HostLoop& operator=(const HostLoop&) = delete;

  void Run() { g_main_loop_run(loop_); }
  void Quit() { g_main_loop_quit(loop_); }

  /// Runs it for so long.
  void RunFor(int ms) {
    const HostSource end(ms, [this] { Quit(); });
    Run();
  }

 private:
  GMainLoop* loop_;
};

}  // namespace support
