#pragma once

#include <tillvane/platform/file_object.h>

namespace platform {

/// Opens a file with a lock, in one step where the system can, without ever waiting. Whether the path still leads to
/// the file is not looked at.
/// \param flags of `open`
/// \return the descriptor, or -1 with errno: EAGAIN when somebody else has a lock that excludes this one, EOPNOTSUPP
///   for what has no locks
int OpenWithLock(const char* path, int flags, FileLock lock, unsigned int mode);

}  // namespace platform
