#pragma once

/// \file
/// What the library and the program that it has polkit start agree upon.

namespace platform {

/// The file name of that program.
inline constexpr char kPrivilegedHelper[] = "tillvane-privileged-tool";

/// It writes this byte to its standard output before it becomes the tool, so that an exit code of the tool's is never
/// taken for one of pkexec's.
inline constexpr char kStartByte = '+';

/// All of a tool's environment: nothing of what the caller's user has set reaches it.
inline constexpr const char* kToolEnvironment[] = {
    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
    "HOME=/root",
    "LOGNAME=root",
    "SHELL=/bin/sh",
    "USER=root",
    nullptr,
};

}  // namespace platform
