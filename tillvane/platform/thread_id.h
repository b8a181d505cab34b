#pragma once

#include <pthread.h>

/// \file
/// Who a thread is, and how urgent. Any thread. A thread is named by its handle and by its number, since systems want
/// the one or the other; the caller sees to it that it has not ended.

namespace platform {

/// Is the calling thread the one that the process began with?
bool IsMainThread();

/// The system's number of the calling thread; never 0 and never 0xFFFFFFFF.
unsigned int CurrentThreadId();

/// Gives a thread its share of the processor among the others: 31 is what the system gives by itself, more is more.
/// \return 0, or the system's error number
int SetThreadPriority(pthread_t thread, unsigned int id, int priority);

/// Lets a thread go before all ordinary ones, with what the system gives real-time threads by itself. Threads that it
/// starts are ordinary.
///
/// A process without the right may be helped by a service of the system: then this takes up to half a second, and the
/// process's limit for how long a real-time thread may run without a rest may be lowered, for good when it succeeds. A
/// process that exceeds that limit is ended by the system.
/// \return 0, or the system's error number
int SetThreadRealTime(pthread_t thread, unsigned int id);

}  // namespace platform
