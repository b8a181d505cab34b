#include <sys/time.h>

#include <algorithm>

#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/event_codes.h>
#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/run_loop.h>

namespace {

using platform::Received;

/// How long a wait without a limit sleeps before it asks again whether to stop.
constexpr double kAskAgainSeconds = 0.01;
/// An event of this kind, whatever its class, ends a timed pause.
constexpr unsigned int kEndingKind = 3;

long long NowMs() {
  timeval now;
  gettimeofday(&now, nullptr);
  return static_cast<long long>(now.tv_sec) * 1000 + now.tv_usec / 1000;
}

double Seconds(long long ms) { return static_cast<double>(ms) * 0.001; }

void DispatchAndRelease(platform::Event* event) {
  platform::DispatchEvent(event);
  platform::ReleaseEvent(event);
}

/// A wake-up has done its work by arriving; everything else is for a handler.
void DispatchUnlessWakeUp(platform::Event* event) {
  if (platform::EventClass(event) != core::kWakeUpClass) platform::DispatchEvent(event);
  platform::ReleaseEvent(event);
}

bool DispatchOneWaiting() {
  platform::Event* event = nullptr;
  if (platform::ReceiveEvent(0, &event) != Received::kEvent) return false;
  DispatchAndRelease(event);
  return true;
}

/// Makes `attempts` attempts, whether or not one of them fails.
bool DispatchSome(unsigned int attempts) {
  bool any = false;
  for (unsigned int i = 0; i < attempts; ++i) any |= DispatchOneWaiting();
  return any;
}

/// Makes a signal object visible to the event loop for as long as it lives.
class Watch {
 public:
  explicit Watch(LSignalObjectRef signal)
      : socket_(platform::WatchDescriptor(signal.filedes[0], &LProcessEventsHandler::SocketCallBack)) {}
  ~Watch() {
    if (socket_ != nullptr) platform::StopWatching(socket_);
  }
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

 private:
  CFSocketRef socket_;
};

}  // namespace

int LProcessEventsHandler::ProcessWaitAndProcessEvents(unsigned int ms) {
  if (ms == 0xFFFFFFFF) return ProcessWaitForeverAndProcessEvents();
  const platform::RunLoopScope run_loop;
  // One reading for the start and the first look: that comes before any time has passed.
  const long long start = NowMs();
  for (long long now = start;; now = NowMs()) {
    if (IsProcessEventHandlerToStop()) return 1;
    const int left = static_cast<int>(start + ms - now);
    if (left < 1) return 0;
    platform::Event* event = nullptr;
    if (platform::ReceiveEvent(Seconds(left), &event) != Received::kEvent) continue;
    const unsigned int kind = platform::EventKind(event);
    DispatchAndRelease(event);
    if (kind == kEndingKind) return 1;
  }
}

int LProcessEventsHandler::ProcessWaitForeverAndProcessEvents() {
  const platform::RunLoopScope run_loop;
  while (!IsProcessEventHandlerToStop()) {
    platform::Event* event = nullptr;
    if (platform::ReceiveEvent(kAskAgainSeconds, &event) == Received::kEvent) DispatchAndRelease(event);
  }
  return 1;
}

int LProcessEventsHandler::ProcessWaitSignalAndProcessEvents(LSignalObjectRef signal, unsigned int ms) {
  const platform::RunLoopScope run_loop;
  const Watch watch(signal);
  const long long start = NowMs();
  for (long long now = start;; now = NowMs()) {
    const long long left = start - now + ms;
    if (left <= 0) return 2;
    if (signal.IsSignaled()) return 0;
    if (IsProcessEventHandlerToStop()) return 1;
    platform::Event* event = nullptr;
    const Received received = platform::ReceiveEvent(Seconds(left), &event);
    if (received == Received::kQuit) return 2;
    if (received == Received::kEvent) DispatchUnlessWakeUp(event);
  }
}

int LProcessEventsHandler::ProcessWaitSignalForeverAndProcessEvents(LSignalObjectRef signal) {
  const platform::RunLoopScope run_loop;
  const Watch watch(signal);
  for (;;) {
    if (signal.IsSignaled()) return 0;
    if (IsProcessEventHandlerToStop()) return 1;
    platform::Event* event = nullptr;
    if (platform::ReceiveEvent(kAskAgainSeconds, &event) == Received::kEvent) DispatchUnlessWakeUp(event);
  }
}

bool LProcessEventsHandler::ClearEventQueue() { return LProcessClearEventQueue(); }

void LProcessEventsHandler::SocketCallBack(CFSocketRef socket, CFSocketCallBackType, CFDataRef, const void*, void*) {
  const int descriptor = platform::WatchedDescriptor(socket);
  platform::Event* event = platform::CreateEvent(core::kWakeUpClass, core::kWakeUpKind);
  if (event == nullptr) return;
  platform::SetEventParameter(event, core::kWakeUpDescriptor, core::kTypeLong, sizeof descriptor, &descriptor);
  platform::PostEvent(event, platform::kStandardPriority);
  platform::ReleaseEvent(event);
}

bool LProcessEventsHandlerNeverStop::IsProcessEventHandlerToStop() const { return false; }

int ProcessWaitAndProcessEvents(unsigned int ms) {
  LProcessEventsHandlerNeverStop handler;
  return handler.ProcessWaitAndProcessEvents(ms);
}

int ProcessWaitSignalObjectAndProcessEvents(LSignalObjectRef signal) {
  LProcessEventsHandlerNeverStop handler;
  return handler.ProcessWaitSignalForeverAndProcessEvents(signal);
}

bool LProcessClearEventQueue() {
  constexpr unsigned int most_in_first_pass = 4;
  bool any = DispatchSome(std::min(platform::CountEvents() + 1, most_in_first_pass));
  any |= DispatchSome(platform::CountEvents() + 1);
  return any;
}

bool LProcessClearCurrentEvents() {
  platform::Event* marker = platform::CreateEvent(core::kMarker, core::kMarker, true);
  if (marker == nullptr) return false;
  platform::PostEvent(marker, platform::kStandardPriority);
  platform::ReleaseEvent(marker);
  bool any = false;
  for (;;) {
    platform::Event* event = nullptr;
    if (platform::ReceiveEvent(0, &event) != Received::kEvent) return any;
    if (platform::EventClass(event) == core::kMarker) {
      platform::ReleaseEvent(event);
      return any;
    }
    DispatchAndRelease(event);
    any = true;
  }
}
