#pragma once

#include <cstdint>

#include <tillvane/platform/crash_backtrace.h>

namespace diag {

/// Notes which programs and libraries the process consists of now. What was noted before stays: a library that is gone
/// counts no more where another has taken its place. Any thread, not in a signal handler.
void NoteLoadedModules();

/// The module that has this address, as far as it was noted; null when none. For a signal handler. It stays as it is.
const platform::LoadedModule* FindLoadedModule(std::uintptr_t address);

}  // namespace diag
