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
/// \return 0, or the system's error number
int SetThreadRealTime(pthread_t thread, unsigned int id);

}  // namespace platform
