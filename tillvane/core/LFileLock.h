#pragma once

#include <tillvane/export.h>

/// \file
/// A lock of an open file, with a time limit.

/// Tries to get an advisory lock of an open file or folder for about `ms` milliseconds. A best effort: the answer does
/// not say whether the lock is held, and callers go on in any case.
///
/// It tries at once, sleeps `ms` / 32 + 1 milliseconds, tries again, and so on with twice the sleep each time, as long
/// as the sleep is shorter than `ms`. With 1000 it tries after 0, 32, 96, 224 and 480 ms and gives up after 992. There
/// is no attempt after the last sleep. No time is "for ever"; 0 is one attempt. Signal handlers shorten no sleep.
///
/// The lock belongs to the open file and goes with its last descriptor. Any thread.
/// \param fd of the open file or folder; stays the caller's
/// \param operation as `flock` takes it; with LOCK_NB, or a single attempt waits without a limit
/// \param ms how long to try, in milliseconds
/// \return 0 when the lock is held and also when the time passed without it. Other than 0, at once and with errno, when
///   the system refuses for another reason, and for a descriptor that is neither a regular file nor a folder (EINVAL)
TILLVANE_API int flocktimed(int fd, int operation, unsigned int ms);
