#pragma once

#include <signal.h>

#include <tillvane/export.h>

/// \file
/// What the library does about signals.
///
/// When it is loaded, it ignores SIGPIPE (so do, from then on, the programs that the process starts), and installs
/// LDebugSignalHandler for SIGQUIT, SIGILL, SIGFPE, SIGSEGV and SIGBUS and LIntTermSignalHandler for SIGINT and
/// SIGTERM. A host that wants others installs them afterwards. When the library is unloaded, those that are still its
/// own give way to what was there before.

/// 1 from the first fatal signal on.
extern TILLVANE_API unsigned char bLLibExceptionAlreadyTrapped;

/// Ends the process with `_exit(666)`, which its parent sees as 154: nothing is destroyed and nothing written back.
///
/// That is for SIGABRT, SIGBUS, SIGFPE, SIGKILL and SIGSEGV. After any other signal it returns, and after the first one
/// that it was called for, it always returns at once: a thread whose fault was the second then repeats it for ever.
/// A signal handler itself: it allocates nothing, takes no lock and keeps errno.
TILLVANE_API void LDebugSignalHandler(int signal, siginfo_t* info, void* context);

/// For SIGINT and SIGTERM: asks the main thread's run loop to stop, or calls `exit(0)` when there is none, with all
/// that an exit runs; a host that handles them while it calls `exit` itself installs its own. For others it does
/// nothing. A signal handler itself, on any thread; with a run loop it keeps errno, allocates nothing and takes no
/// lock.
TILLVANE_API void LIntTermSignalHandler(int signal, siginfo_t* info, void* context);

/// From now on the first signal that LDebugSignalHandler is called for is also reported, as lines of text:
///
///     SIGNAL11                         the signal's number
///     code 1 address 0x10              what the system says of its cause: "sender 4712" when a process sent it
///     thread 4711 Work117              the thread's number, and its name when it is registered
///     frame 0x7f12a4e01234 0x1234 8f3c… /usr/lib/libexample.so
///     end                              nothing is missing
///
/// The frames are the calls under way, the innermost 128 at most and the innermost first, with the signal's handler
/// itself at the beginning. Each says its address, its offset in its file (as addr2line takes it, less one for all but
/// the one that faulted), that file's build id and its path; "-" where nothing is known of it, as of a library that was
/// loaded after this call.
///
/// An overflowed stack is reported on another one, which the calling thread gets here, and every thread of the
/// toolkit's that is started afterwards; a thread of the host's own gets one when it calls this too. One that has an
/// alternate stack already keeps it.
///
/// A report takes some seconds at most: a reader that does not take it in time gets its beginning only, and what
/// faults or hangs in it otherwise ends the process as a fatal signal does. Meanwhile SIGALRM and `alarm` are the
/// report's; the host's handler and alarm are put back after it, an interval timer is not.
///
/// Off to begin with. Any thread, not in a signal handler, and not while the host installs handlers of its own.
/// \param fd stays the host's, and open: a file, or the standard error output; -1 turns the report off
/// \return false, and nothing is changed, when `fd` is no open descriptor
TILLVANE_API bool LDebugReportCrashesTo(int fd);
