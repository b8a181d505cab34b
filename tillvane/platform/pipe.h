#pragma once

/// \file
/// Pipes whose ends are closed on exec: from their first moment, but on macOS from just behind it, so that a child that
/// another thread starts in between by `fork` and `exec` has them too. Any thread.

namespace platform {

/// Opens a pipe as signal objects want it: its two ends are non-blocking.
/// \param ends receives read end and write end; both are -1 after a failure
bool OpenSignalPipe(int ends[2]);

/// Opens a pipe to or from a child: its two ends block, and neither of them is a descriptor below 3, so that it can
/// take the place of a child's standard streams whatever this process has closed.
/// \param ends as above
bool OpenChildPipe(int ends[2]);

}  // namespace platform
