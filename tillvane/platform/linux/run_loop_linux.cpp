#include <tillvane/platform/linux/run_loop_linux.h>

#include <atomic>
#include <vector>

#include <tillvane/platform/linux/event_queue_linux.h>
#include <tillvane/platform/linux/never_destroyed_linux.h>
#include <tillvane/platform/run_loop.h>

namespace platform {

namespace run_loop {
constinit std::atomic<bool> quit{false};
}

namespace {

/// One run loop that is under way: a wait of ours has no `stop`.
struct Frame {
  bool is_bracket;
  void (*stop)(void*);
  void* data;
};

/// The run loops under way, the innermost last. Main thread only.
std::vector<Frame>& Frames() {
  static NeverDestroyed<std::vector<Frame>> frames;
  return frames.Get();
}

// What a signal handler reads and writes.
std::atomic<int> depth{0};
using run_loop::quit;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void Push(const Frame& frame) {
  // The queue must be there before a signal handler wakes it.
  EventQueue::Get();
  Frames().push_back(frame);
  depth.fetch_add(1);
}

void Pop() {
  if (Frames().empty()) return;
  Frames().pop_back();
  // A request that nobody took is for the loop around this one, but not for a later one.
  if (depth.fetch_sub(1) == 1) {
    quit.store(false);
  } else if (run_loop::IsQuit()) {
    EventQueue::WakeFromSignalHandler();
  }
}

bool IsQuitFor(bool bracket) {
  return quit.load(std::memory_order_relaxed) && !Frames().empty() && Frames().back().is_bracket == bracket;
}

}  // namespace

bool HasRunLoop() { return depth.load() > 0; }

bool StopRunLoop() {
  if (depth.load() == 0) return false;
  quit.store(true);
  EventQueue::WakeFromSignalHandler();
  return true;
}

void EnterRunLoop(void (*stop)(void*), void* data) { Push({true, stop, data}); }

void LeaveRunLoop() {
  if (!Frames().empty() && Frames().back().is_bracket) Pop();
}

RunLoopScope::RunLoopScope() { Push({false, nullptr, nullptr}); }

RunLoopScope::~RunLoopScope() { Pop(); }

namespace run_loop {

unsigned int Count() { return static_cast<unsigned int>(Frames().size()); }

bool IsQuitForWait() { return IsQuitFor(false); }

bool IsQuitForBracket() { return IsQuitFor(true); }

bool TakeQuitForWait() { return IsQuitForWait() && quit.exchange(false); }

bool TakeQuitForBracket() {
  if (!IsQuitForBracket() || !quit.exchange(false)) return false;
  const Frame bracket = Frames().back();
  if (bracket.stop != nullptr) bracket.stop(bracket.data);
  return true;
}

}  // namespace run_loop

}  // namespace platform
