#pragma once

namespace platform {

/// Opens a pipe whose ends are closed on exec. Any thread.
/// \param ends receives read end and write end; both are -1 after a failure
bool OpenPipe(int ends[2], bool is_non_blocking);

}  // namespace platform
