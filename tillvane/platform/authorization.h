#pragma once

/// \file
/// Tools that run with the administrator's rights. Paths are absolute, texts are as the system has them. Any thread.

namespace platform {

enum class Authorization {
  kStarted,    ///< the tool runs, or has run
  kCancelled,  ///< the user did not want to say who he is
  kFailed,     ///< refused, or the tool could not be started
};

/// What the system keeps for a tool that runs, where it keeps anything.
struct SystemTool;

/// A tool that was started.
struct PrivilegedTool {
  int output = -1;               ///< the read end of its standard output, closed on exec
  int process = -1;              ///< the system's number of what was started for it, where it tells
  SystemTool* system = nullptr;  ///< ends with LeavePrivilegedTool()
};

/// Asks for the right "system.privilege.admin", unless this process has it, and starts one tool with it. Blocks while
/// the user is asked. The tool has an environment of the system's choice, an empty standard input and this process's
/// standard error; no shell reads its arguments.
/// \param tool its path
/// \param arguments what it is given, a null at the end; null for nothing
/// \param started filled when it is, for LeavePrivilegedTool()
Authorization StartPrivilegedTool(const char* tool, char* const* arguments, PrivilegedTool* started);

/// Closes the output of a tool and leaves it to its end.
/// \param is_ending whether its output has ended, so that it is about to end itself
void LeavePrivilegedTool(const PrivilegedTool& started, bool is_ending);

}  // namespace platform
