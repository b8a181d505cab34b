#pragma once

#include <tillvane/export.h>

/// \file
/// The main event queue as a host sees it.
///
/// A host whose main loop is GLib's default main context (GTK, or Qt with GLib's dispatcher) needs none of this: its
/// loop dispatches the queue. A host with another loop polls the descriptor and drains when it is readable.

/// A descriptor that is readable while there is something to drain; -1 when none could be made. Poll it for reading and
/// do nothing else with it: the library owns it. Any thread.
TILLVANE_API int LEventQueueDescriptor();

/// Dispatches what is queued now and gives other sources of the library one turn; never blocks. Main thread only.
/// \return true when at least one event was dispatched
TILLVANE_API bool LEventQueueDrain();

/// Posts an event of this class and kind without parameters. Any thread.
/// \param cls any number of the host's own; the library's are 'LSnc', 'LNot' and 'Plac', four characters each, the
/// first
///   one in the highest byte
/// \param kind any number; 3 ends a ProcessWaitAndProcessEvents() whatever the class
/// \param priority 0 low, 1 standard, 2 high; the higher goes first, equal ones in their order.
/// \return false when the priority is none of these, or when memory ran out
TILLVANE_API bool LEventQueuePost(unsigned int cls, unsigned int kind, int priority);

/// The number of events that are queued. Any thread.
TILLVANE_API unsigned int LEventQueueCount();

/// Brackets a main loop that the host runs itself: a stop request from a signal handler then calls `stop(data)` on the
/// main loop (and not in the handler), where the host ends its loop. Brackets nest. Main thread only.
TILLVANE_API void LRunLoopEnter(void (*stop)(void*), void* data);

/// Ends the innermost bracket of LRunLoopEnter(). Main thread only.
TILLVANE_API void LRunLoopLeave();
