#include <tillvane/platform/mac/run_loop_mac.h>

#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <vector>

#include <tillvane/platform/run_loop.h>

namespace platform {

namespace {

/// One run loop that is under way: a wait of ours has no source.
struct Frame {
  CFRunLoopSourceRef source;
  void (*stop)(void*);
  void* data;
};

/// The run loops under way, the innermost last. Main thread only; never destroyed, since a host may leave its last
/// bracket while the program ends.
std::vector<Frame>& Frames() {
  static auto* const frames = new std::vector<Frame>;
  return *frames;
}

// What a signal handler reads and writes. A host's loop is stopped through a source of it, and not in the handler.
constinit std::atomic<CFRunLoopSourceRef> innermost_source{nullptr};
constinit std::atomic<unsigned int> depth{0};
constinit std::atomic<bool> quit{false};
static_assert(std::atomic<CFRunLoopSourceRef>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void Push(const Frame& frame) {
  Frames().push_back(frame);
  innermost_source = frame.source;
  ++depth;
}

void Pop() {
  Frames().pop_back();
  innermost_source = Frames().empty() ? nullptr : Frames().back().source;
  // A request that nobody took is not for a later run loop.
  if (--depth == 0) quit = false;
}

void CallStop(void*) {
  if (Frames().empty() || Frames().back().source == nullptr) return;
  const Frame frame = Frames().back();
  if (frame.stop != nullptr) frame.stop(frame.data);
}

}  // namespace

// The system makes one for a thread that asks.
bool HasRunLoop() { return CFRunLoopGetCurrent() != nullptr; }

bool StopRunLoop() {
  const CFRunLoopRef loop = CFRunLoopGetCurrent();
  if (loop == nullptr) return false;
  if (const CFRunLoopSourceRef source = innermost_source; source != nullptr) {
    CFRunLoopSourceSignal(source);
    CFRunLoopWakeUp(CFRunLoopGetMain());
    return true;
  }
  // Stopping a loop ends only what it does at this moment; between two events the wait looks at this.
  quit = depth > 0;
  CFRunLoopStop(loop);
  return true;
}

void EnterRunLoop(void (*stop)(void*), void* data) {
  CFRunLoopSourceContext context = {};
  context.perform = &CallStop;
  const CFRunLoopSourceRef source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
  if (source != nullptr) CFRunLoopAddSource(CFRunLoopGetMain(), source, kCFRunLoopCommonModes);
  Push({source, stop, data});
}

void LeaveRunLoop() {
  if (Frames().empty() || Frames().back().source == nullptr) return;
  const CFRunLoopSourceRef source = Frames().back().source;
  Pop();
  CFRunLoopSourceInvalidate(source);
  CFRelease(source);
}

RunLoopScope::RunLoopScope() { Push({nullptr, nullptr, nullptr}); }

RunLoopScope::~RunLoopScope() { Pop(); }

namespace run_loop {

bool TakeQuit() { return quit.exchange(false); }

}  // namespace run_loop

}  // namespace platform
