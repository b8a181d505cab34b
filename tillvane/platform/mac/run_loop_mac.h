#pragma once

namespace platform::run_loop {

/// Was a wait of ours asked to stop, since the last time that it was told so? Main thread.
bool TakeQuit();

}  // namespace platform::run_loop
