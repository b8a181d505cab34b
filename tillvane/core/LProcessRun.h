#pragma once

#include <tillvane/core/LSignalObject.h>
#include <tillvane/export.h>
#include <tillvane/text/LStringLong.h>

/// \file
/// A shell command that runs on a thread of its own, while others wait for its end as long as they like.

/// A shell command on its way to a thread of its own, and the answer on its way back.
///
/// Make it with `new`, set the command, start a thread of any kind with ProcessRunThreadCallback. Wait for `done` as
/// long as you like, read the answer if it was signalled, then signal `release` in any case: from then on the thread
/// deletes the data, and nobody else may touch it.
///
/// In a process that is out of descriptors (EMFILE) the signals may have none. Without those of `done` nobody learns of
/// the answer: do not start a thread then. Without those of `release` the data stays the caller's after the answer.
struct TILLVANE_API ProcessRunData {
  /// For `/bin/sh -c`, in the system's encoding.
  LStringLong command;
  /// Signalled when the answer is there.
  LSignalObject done;
  /// Signalled by whoever asked, when the answer is read or no longer wanted.
  LSignalObject release;
  /// 1 not run yet, 0 run, 2 could not be run.
  int result = 1;
  /// The command's exit code; -1 when it is not known: a signal ended it, or somebody else had waited for it.
  int exitCode = -1;
};

/// A thread's function: runs the command, whose standard input is empty, and waits for its end.
/// \param data a ProcessRunData, which is the thread's when it has been released
/// \return null
TILLVANE_API void* ProcessRunThreadCallback(void* data);
