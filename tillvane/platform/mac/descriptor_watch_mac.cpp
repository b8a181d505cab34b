#include <Carbon/Carbon.h>
#include <fcntl.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include <tillvane/platform/event_queue.h>

namespace platform {

namespace {

struct Watch {
  CFSocketRef socket;
  CFRunLoopSourceRef source;
};

/// Those that are under way, the newest last. Main thread only; never destroyed, since a wait may outlive the library's
/// static objects.
std::vector<Watch>& Watches() {
  static auto* const watches = new std::vector<Watch>;
  return *watches;
}

CFRunLoopRef MainLoop() {
  return static_cast<CFRunLoopRef>(const_cast<void*>(GetCFRunLoopFromEventLoop(GetMainEventLoop())));
}

bool IsWatched(CFSocketRef socket) {
  return std::any_of(Watches().begin(), Watches().end(), [&](const Watch& one) { return one.socket == socket; });
}

}  // namespace

static_assert(kReadCallBack == kCFSocketReadCallBack);

CFSocketRef WatchDescriptor(int descriptor, SocketCallOut call_out) {
  if (fcntl(descriptor, F_GETFD) < 0) return nullptr;
  // Waits for one descriptor inside each other share the socket: the system keeps one for a descriptor.
  const CFSocketRef socket =
      CFSocketCreateWithNative(kCFAllocatorDefault, descriptor, kCFSocketReadCallBack, call_out, nullptr);
  if (socket == nullptr) return nullptr;
  // The descriptor is the caller's to close, whatever becomes of the socket.
  CFSocketSetSocketFlags(socket, CFSocketGetSocketFlags(socket) & ~CFOptionFlags{kCFSocketCloseOnInvalidate});
  const CFRunLoopSourceRef source = CFSocketCreateRunLoopSource(kCFAllocatorDefault, socket, 0);
  if (source != nullptr) CFRunLoopAddSource(MainLoop(), source, kCFRunLoopDefaultMode);
  Watches().push_back({socket, source});
  return socket;
}

void StopWatching(CFSocketRef socket) {
  std::vector<Watch>& watches = Watches();
  const auto newest =
      std::find_if(watches.rbegin(), watches.rend(), [&](const Watch& one) { return one.socket == socket; });
  if (newest == watches.rend()) return;
  const CFRunLoopSourceRef source = newest->source;
  watches.erase(std::next(newest).base());
  if (source != nullptr) {
    if (!IsWatched(socket)) CFRunLoopRemoveSource(MainLoop(), source, kCFRunLoopDefaultMode);
    CFRelease(source);
  }
  CFRelease(socket);
}

int WatchedDescriptor(CFSocketRef socket) { return socket != nullptr ? CFSocketGetNative(socket) : -1; }

}  // namespace platform
