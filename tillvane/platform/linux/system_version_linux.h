#pragma once

#include <tillvane/platform/system_version.h>

namespace platform {

/// Reads the two numbers at the beginning of a kernel's release, such as 6.1.0-18-amd64.
SystemVersion ParseRelease(const char* release);

/// Whether the kernel of such a machine, as uname calls it, is a 64-bit one.
bool Is64BitMachine(const char* machine);

}  // namespace platform
