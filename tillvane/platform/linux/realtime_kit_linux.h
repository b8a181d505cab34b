#pragma once

/// \file
/// RealtimeKit: the desktop's service that makes threads real-time for processes which have no right to it themselves.

namespace platform {

/// The longest that AskRealtimeKit blocks, milliseconds.
inline constexpr unsigned int kRealtimeKitMs = 500;

/// Asks RealtimeKit on the system bus to give a thread of this process SCHED_RR with this priority. Any thread; the
/// calling thread sleeps meanwhile, and no main context of the host's is turned.
///
/// The service wants to know that a thread of ours cannot run away with the machine: this process's RLIMIT_RTTIME is
/// lowered to what it demands. From then on the kernel sends SIGXCPU to the process when a real-time thread of it has
/// run for the soft limit without a blocking call, and kills it at the hard one. Both become the same where neither was
/// lower before, and then there is no SIGXCPU; a host that wants the warning lowers its soft limit itself, beforehand.
/// When the service refuses, the limits go back to what they were as far as the kernel lets them: without
/// CAP_SYS_RESOURCE a lowered hard limit stays.
///
/// The first call starts the worker threads of GLib's bus, which keep a few descriptors for the rest of the process.
/// \param id the thread's number
/// \return whether it was granted; not when the service, the bus or the time is missing
bool AskRealtimeKit(unsigned int id, int priority);

}  // namespace platform
