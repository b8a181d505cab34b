#pragma once

#include <tillvane/export.h>

/// \file
/// A shell command, run to its end.

/// Runs a command by `/bin/sh -c` and waits for its end, as the C library's `system` does: with this process's
/// environment and standard streams, and while it runs this process ignores SIGINT and SIGQUIT. It inherits what this
/// process ignores, so also SIGPIPE; LPipeIn's commands do not. It is all the shell's to read: never put a text into it
/// that somebody else may have written.
///
/// Any thread, not a signal handler.
/// \return whether the command ended by itself, with exit code 0. False also where the host ignores its children's ends
///   (SIGCHLD), since nobody knows them then
TILLVANE_API bool RunCommandLineProcess(const char* command);
