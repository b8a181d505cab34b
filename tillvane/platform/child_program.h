#pragma once

/// \file
/// Programs as children of this process. Texts are as the system has them; a process is named by the system's number of
/// it, -1 for none. Any thread, and whatever other threads do meanwhile: nothing of this process's own runs in a child
/// before its program does, and its memory is not copied.

namespace platform {

struct ChildProgram {
  const char* program = nullptr;       ///< its path; a name without a slash is looked for in $PATH
  char* const* arguments = nullptr;    ///< its name, what it is given, a null
  char* const* environment = nullptr;  ///< texts "NAME=value", a null
  int input = -1;                      ///< its standard input; -1 for this process's own
  int output = -1;                     ///< its standard output; -1 for this process's own
};

/// Starts a program. It inherits descriptors that are not closed on exec. No signal is blocked for it; SIGPIPE and
/// SIGCHLD are as a process has them by itself, others stay ignored where they are.
/// \return the process, to be reaped by one of the functions below; -1 with errno when the program does not run
int StartProgram(const ChildProgram& child);

/// Waits for a child's end, through interruptions, and reaps it.
/// \return its exit code; -1 where a signal ended it, or somebody else reaped it
int WaitForProgram(int process);

/// Reaps a child if it has ended. \return false while it runs
bool ReapProgram(int process);

/// This process's environment, as ChildProgram wants it. It is the process's own, and changes with it.
char* const* Environment();

}  // namespace platform
