#pragma once

#include <signal.h>

namespace diag {

/// Writes the report that the host has asked for, if it has. For a signal handler.
/// What faults or hangs in it ends the process.
void ReportCrash(const char* description, const siginfo_t* info);

/// Is the calling thread in the middle of a report? For a signal handler.
bool IsReportingCrash();

/// Has the host asked for reports?
bool AreCrashesReported();

}  // namespace diag
