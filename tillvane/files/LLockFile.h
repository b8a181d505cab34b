#pragma once

#include <tillvane/export.h>

/// \file
/// A lock file beside the file that it guards.

/// Guards a file against a second user of it in another process, by the lock of a file beside it: 'app.lck' for
/// 'app.db'. The lock is held while the descriptor is open, at the latest until the process ends; the lock file stays.
/// Used by one thread. The order of the fields is part of the binary interface.
struct TILLVANE_API LLockFile {
  LLockFile() = default;
  /// Gives the lock back.
  ~LLockFile();
  LLockFile(const LLockFile&) = delete;
  LLockFile& operator=(const LLockFile&) = delete;

  /// Tries to lock a file, without waiting. A lock that is held already is given back first, and its file deleted.
  /// \param file_path of the file to guard, which need not be there
  /// \return 0 when somebody else has the lock, otherwise 1: also when there can be no lock, for example in a folder
  ///   that may not be written. `filedes` is -1 then
  int Lock(const char* file_path);

  int filedes = -1;     ///< -1 for none
  char path[260] = "";  ///< of the lock file
};
