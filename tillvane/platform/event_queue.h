#pragma once

/// \file
/// The main thread's event queue.
///
/// Units: times are seconds. Codes: class, kind, parameter name and type are four characters in 32 bits, the first one
/// most significant. Ownership: an event is reference-counted; CreateEvent, RetainEvent and ReceiveEvent give a
/// reference that ReleaseEvent returns. Threads: creating, filling, retaining, releasing, posting and counting may
/// happen on any thread, everything else on the main thread. Errors: false, null or nothing; errno means nothing.
/// Priorities: 0 low, 1 standard, 2 high; the higher goes first, equal ones in the order of posting.

#include <tillvane/platform/native_types.h>

namespace platform {

struct Event;
struct EventHandler;
struct DescriptorWatch;

inline constexpr int kLowPriority = 0;
inline constexpr int kStandardPriority = 1;
inline constexpr int kHighPriority = 2;

/// The system's own name for an event; both mean the same one.
inline EventRef NativeEvent(Event* event) { return reinterpret_cast<EventRef>(event); }
inline Event* EventOfNative(EventRef event) { return reinterpret_cast<Event*>(event); }

/// \param is_users whether it counts as the user's own doing, where a system tells the two apart
/// \return an event without parameters, null when memory ran out
Event* CreateEvent(unsigned int cls, unsigned int kind, bool is_users = false);
Event* RetainEvent(Event* event);
void ReleaseEvent(Event* event);

unsigned int EventClass(const Event* event);
unsigned int EventKind(const Event* event);

/// Sets or replaces a parameter; `size` bytes are copied. Not while another thread reads the event.
bool SetEventParameter(Event* event, unsigned int name, unsigned int type, unsigned long size, const void* data);

/// Copies a parameter of exactly this name, type and size.
bool GetEventParameter(const Event* event, unsigned int name, unsigned int type, unsigned long size, void* data);

/// Puts the event into the queue, which takes a reference of its own. Wakes the main thread where it sleeps.
/// One thread posts an event at a time.
/// \return false when the priority is none of the three, or the event is queued already; it is then as before
bool PostEvent(Event* event, int priority);

/// PostEvent and then ReleaseEvent, whatever the answer; for one thread's own event that saves counting up and down.
bool PostAndReleaseEvent(Event* event, int priority);

enum class Received { kEvent, kNothing, kQuit };

/// Takes the next event off the queue, waiting for one at most this long while the loop's other sources run.
///
/// It may return without an event before the time is over: whenever another source ran or a signal handler interrupted
/// the wait. A stop of the run loop is answered once, with kQuit. Called on another thread it waits the time out and
/// receives nothing.
/// Without a time it only looks: it leaves a stop to the wait around it.
Received ReceiveEvent(double seconds, Event** event);

/// Hands the event to the handlers of its class and kind, the last installed first, until one has handled it.
/// \return true when a handler handled it
bool DispatchEvent(Event* event);

/// \return true when the event is handled and no other handler is to see it
using EventHandlerFunction = bool (*)(Event* event, void* data);

/// Installs a handler, which may be removed at any time, from within itself too.
EventHandler* InstallEventHandler(unsigned int cls, unsigned int kind, EventHandlerFunction function, void* data);
void RemoveEventHandler(EventHandler* handler);

unsigned int CountEvents();

/// Removes every queued event for which the predicate answers true. The predicate may post and receive; it is not asked
/// about what is posted meanwhile.
/// \return the number of events removed
unsigned int FlushEvents(bool (*predicate)(Event* event, void* data), void* data);

/// Called on the main thread when the watched descriptor is readable.
using SocketCallOut = void (*)(CFSocketRef socket, CFSocketCallBackType type, CFDataRef address, const void* data,
                               void* info);

/// The type that a call-out is given for a readable descriptor.
inline constexpr unsigned long kReadCallBack = 1;

/// Watches a descriptor until StopWatching; the descriptor stays the caller's. A closed descriptor ends the watch.
/// While the descriptor stays readable the call-out is called again: on Linux not before the event that it posted has
/// left the queue; on macOS whenever the loop comes round, so that it may post more than one. \return null when there
/// is no such descriptor
CFSocketRef WatchDescriptor(int descriptor, SocketCallOut call_out);
void StopWatching(CFSocketRef socket);
/// The descriptor of a watch; -1 for null.
int WatchedDescriptor(CFSocketRef socket);

/// For a host with another loop: a descriptor that is readable while something is queued; -1 when none could be made.
int EventQueueDescriptor();

/// For a host with another loop: dispatches what is queued now and runs other sources once. Never blocks.
bool DrainEventQueue();

}  // namespace platform
