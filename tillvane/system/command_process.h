#pragma once

namespace commands {

/// Starts a command for `/bin/sh -c`, where it makes no difference without the shell.
/// \param input becomes its standard input; -1 for this process's own
/// \param output becomes its standard output; -1 for this process's own
/// \return the process, to be reaped by platform::WaitForProgram(); -1 with errno when it could not be started. A null
///   command cannot
int StartCommand(const char* command, int input, int output);

/// Reads once, through interruptions, and waits where a non-blocking descriptor has nothing yet.
/// \return bytes, 0 at the end, -1 with errno
long ReadOnce(int descriptor, void* buffer, unsigned int length);

/// Writes all, through interruptions, and waits where a non-blocking descriptor is full.
/// \return bytes written; fewer than `length` with errno
unsigned int WriteAll(int descriptor, const void* bytes, unsigned int length);

}  // namespace commands
