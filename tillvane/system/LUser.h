#pragma once

#include <tillvane/export.h>

/// \file
/// Whose process this is. What switches belongs to the whole process, all its threads included, and to its start: no
/// other thread should be in the middle of anything. The questions may be asked on any thread; nothing here may be
/// called from a signal handler.

/// Becomes root, which a process can that was started as root, or whose executable says so.
/// \return false, and nothing has changed, when the system refuses
TILLVANE_API bool LSwitchToRoot();

/// Becomes the user who has logged in: the one whom the environment calls "LOGNAME", or else "USER". A name counts by
/// its first 259 bytes.
///
/// A process with root's rights loses them for good: it takes over the user's groups, gives up its own, then its user,
/// and makes sure that root cannot come back. An ordinary process can only become who it is, and keeps its
/// supplementary groups; what its executable's owner or group had lent it is given up.
/// \return false when there is no such user, or the system refuses; what was given up until then stays so
TILLVANE_API bool LSwitchToUser();

/// Is the user root?
/// \return whether the process's real user is root; for any other user, whether the environment's "USER" is "root"
TILLVANE_API bool LIsUserRoot();

/// May the user administer the machine?
/// \return whether this is root, as LIsUserRoot() has it, or one of the process's supplementary groups is called
/// "admin"
TILLVANE_API bool LIsUserAdministrator();

/// The same as LIsUserAdministrator().
TILLVANE_API bool LIsUserRunningAsAdministrator();
