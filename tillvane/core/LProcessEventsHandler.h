#pragma once

#include <tillvane/core/LSignalObject.h>
#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>

/// \file
/// Waits during which the main thread's events go on being dispatched.

/// Waits that keep the user interface alive: they receive and dispatch the main thread's events while they wait.
///
/// Main thread only. Other threads take part by signalling the object that is waited for. The host's own event sources
/// run during the waits too; after each of them the stop question is asked again, so a Cancel button works at once.
/// Waits may nest. Times are milliseconds. Nothing is thrown.
///
/// A run loop that is told to quit, as the library's handler of SIGINT and SIGTERM does, ends only the wait for a
/// signal object with a time; the innermost wait takes the request. A host that is to end from within every wait
/// handles these signals itself, and answers the stop question.
class TILLVANE_API LProcessEventsHandler {
 public:
  /// Asked between events; true ends the wait. Must not block.
  virtual bool IsProcessEventHandlerToStop() const = 0;

  /// Pauses for `ms`; 0xFFFFFFFF waits until stopped. Times above 0x7FFFFFFF end at once.
  /// \return 1 when stopped, or when an event of kind 3 (of any class) was dispatched; 0 when the time passed.
  int ProcessWaitAndProcessEvents(unsigned int ms);

  /// Pauses until stopped. \return 1
  int ProcessWaitForeverAndProcessEvents();

  /// Waits for a signal object. 0xFFFFFFFF is no special value: it is 49.7 days.
  /// \return 0 signalled, 1 stopped, 2 the time passed (0 at once) or the event loop was told to quit.
  int ProcessWaitSignalAndProcessEvents(LSignalObjectRef signal, unsigned int ms);

  /// Waits for a signal object without a limit. \return 0 signalled, 1 stopped
  int ProcessWaitSignalForeverAndProcessEvents(LSignalObjectRef signal);

  /// The same as LProcessClearEventQueue().
  static bool ClearEventQueue();

  /// Called by the event loop when a watched descriptor is readable: posts the wake-up event, class 'LSnc', kind
  /// 'LSnk', whose parameter 'LSso' of type 'long' is the descriptor, 4 bytes.
  /// \param socket the watch whose descriptor is readable
  /// \param type not used
  /// \param address not used
  /// \param data not used
  /// \param info not used
  static void SocketCallBack(CFSocketRef socket, CFSocketCallBackType type, CFDataRef address, const void* data,
                             void* info);
};

/// A handler for waits that only the time or the signal ends.
class TILLVANE_API LProcessEventsHandlerNeverStop : public LProcessEventsHandler {
 public:
  bool IsProcessEventHandlerToStop() const override;
};

/// LProcessEventsHandler::ProcessWaitAndProcessEvents with a handler that never stops.
TILLVANE_API int ProcessWaitAndProcessEvents(unsigned int ms);

/// LProcessEventsHandler::ProcessWaitSignalForeverAndProcessEvents with a handler that never stops.
TILLVANE_API int ProcessWaitSignalObjectAndProcessEvents(LSignalObjectRef signal);

/// Dispatches what is queued, in two passes: at most four events, then as many as are there by then, and one more try
/// each. Main thread only. \return true when at least one event was dispatched
TILLVANE_API bool LProcessClearEventQueue();

/// Dispatches the events that were queued before the call, and those that go ahead of standard priority.
/// Main thread only. \return true when at least one event was dispatched
TILLVANE_API bool LProcessClearCurrentEvents();
