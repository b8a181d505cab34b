#pragma once

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/export.h>

/// \file
/// A file copied with progress, by an operation that can be stopped.

/// A file to copy with progress. The paths stay the caller's.
struct LProcessCopyFile {
  const char* source;       ///< The file to copy: terminated, not null.
  const char* destination;  ///< Where its copy is to be: terminated, not null.
};

/// Copies a file's bytes and the time of its last change, 32768 bytes at a time, and can be stopped before each piece.
///
/// Reports are the status "Copy File" of value 0, the destination's name of value 1, and the progress: 0 at the
/// beginning, and after each piece how far the copy was before that piece. The last report is thus a piece short of 1.
///
/// The source is locked shared and the destination exclusively, each for about a second at most if somebody else has a
/// lock; then the copy goes on without. Holes of the source are holes of the copy. Any thread that the process
/// interface serves.
/// \return 0 copied, 1 stopped, 2 failed, with errno. After 1, and after 2 if it was opened, the destination is
///   deleted, whatever was there before, and is empty under another name that it may have. A file onto itself fails
///   with nothing touched
TILLVANE_API int Process(LProcessInterface& process, const LProcessCopyFile& request);
