#pragma once

/// \file
/// Pipes as signal objects want them. Any thread.

namespace platform {

/// Opens a pipe whose two ends are non-blocking and closed on exec.
/// \param ends receives read end and write end; both are -1 after a failure
bool OpenSignalPipe(int ends[2]);

}  // namespace platform
