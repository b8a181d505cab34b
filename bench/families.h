#pragma once

#include "comparison.h"

namespace bench {

/// Signal objects beside eventfd, condition variables and bare system calls.
void RunSignalFamily(const Options& options, Goals* goals);

/// The event queue beside GLib's and asio's.
void RunEventsFamily(const Options& options, Goals* goals);

/// Work for the main thread beside GLib's and asio's.
void RunDispatchFamily(const Options& options, Goals* goals);

/// Threads beside std::thread and bare ones.
void RunThreadsFamily(const Options& options, Goals* goals);
/// The locks beside pthread's, the standard library's and bare system calls.
void RunLocksFamily(const Options& options, Goals* goals);

/// How late a host's own timer is while the bridge sells.
void RunTickFamily(const Options& options, Goals* goals);

}  // namespace bench
