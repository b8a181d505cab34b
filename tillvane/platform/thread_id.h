#pragma once

/// \file
/// Who the calling thread is. Any thread.

namespace platform {

/// Is the calling thread the one that the process began with?
bool IsMainThread();

}  // namespace platform
