#include <tillvane/platform/mac/run_loop_mac.h>

#include <CoreFoundation/CoreFoundation.h>
#include <pthread.h>

#include <atomic>
#include <vector>

#include <tillvane/platform/run_loop.h>

namespace platform {

namespace {

/// One run loop that is under way: a wait of ours has no `stop`.
struct Frame {
  bool is_bracket;
  void (*stop)(void*);
  void* data;
};

/// The run loops under way, the innermost last. Main thread only; never destroyed, since a host may leave its last
/// bracket while the program ends.
std::vector<Frame>& Frames() {
  static auto* const frames = new std::vector<Frame>;
  return *frames;
}

// What a signal handler on the main thread reads and writes. A request is marked by `quit`, and the source brings the
// main loop to look at it; a signalled source waits until its loop runs, where a stop would be lost between two turns.
// There is one source for the process, so that no handler has one that is gone.
constinit std::atomic<CFRunLoopSourceRef> source{nullptr};
constinit std::atomic<unsigned int> depth{0};
constinit std::atomic<bool> quit{false};
static_assert(std::atomic<CFRunLoopSourceRef>::is_always_lock_free && std::atomic<unsigned int>::is_always_lock_free &&
              std::atomic<bool>::is_always_lock_free);

/// \return false when there is no source
bool WakeMainLoop() {
  const CFRunLoopSourceRef signalled = source;
  if (signalled == nullptr) return false;
  CFRunLoopSourceSignal(signalled);
  CFRunLoopWakeUp(CFRunLoopGetMain());
  return true;
}

/// Whatever is innermost now takes the request, in the loop that runs now.
void PassRequest(void*) {
  if (!quit || Frames().empty()) return;
  const Frame innermost = Frames().back();
  if (!innermost.is_bracket) {
    // The wait finds the mark when the system's own wait has returned.
    CFRunLoopStop(CFRunLoopGetCurrent());
    return;
  }
  quit = false;
  if (innermost.stop != nullptr) innermost.stop(innermost.data);
}

void MakeSource() {
  CFRunLoopSourceContext context = {};
  context.perform = &PassRequest;
  const CFRunLoopSourceRef made = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
  if (made != nullptr) CFRunLoopAddSource(CFRunLoopGetMain(), made, kCFRunLoopCommonModes);
  source = made;
}

void Push(const Frame& frame) {
  if (source == nullptr) MakeSource();
  Frames().push_back(frame);
  ++depth;
}

void Pop() {
  Frames().pop_back();
  // A request that nobody took is for the loop around this one, but not for a later one.
  if (--depth == 0) {
    quit = false;
  } else if (quit) {
    WakeMainLoop();
  }
}

}  // namespace

bool HasRunLoop() { return depth > 0; }

bool StopRunLoop() {
  const CFRunLoopRef loop = CFRunLoopGetCurrent();
  if (loop == nullptr) return false;
  if (pthread_main_np() != 0 && depth > 0) {
    quit = true;
    if (WakeMainLoop()) return true;
  }
  CFRunLoopStop(loop);
  return true;
}

void EnterRunLoop(void (*stop)(void*), void* data) { Push({true, stop, data}); }

void LeaveRunLoop() {
  if (!Frames().empty() && Frames().back().is_bracket) Pop();
}

RunLoopScope::RunLoopScope() { Push({false, nullptr, nullptr}); }

RunLoopScope::~RunLoopScope() { Pop(); }

namespace run_loop {

bool TakeQuit() { return !Frames().empty() && !Frames().back().is_bracket && quit.exchange(false); }

}  // namespace run_loop

}  // namespace platform
