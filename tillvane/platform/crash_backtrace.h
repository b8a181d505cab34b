#pragma once

#include <cstdint>

/// \file
/// Where a thread is, for reports of crashes: return addresses, and the files that they belong to.

namespace platform {

/// A program or library in the process's memory.
struct LoadedModule {
  std::uintptr_t base;        ///< What its file's own addresses are relative to.
  std::uintptr_t begin, end;  ///< From its first byte to behind its last one.
  unsigned int build_id_size;
  unsigned char build_id[32];
  char path[260];  ///< Cut where it is longer.
};

/// Calls `note` for each module there is. Any thread, not in a signal handler. `note` loads no libraries.
void ListLoadedModules(void (*note)(const LoadedModule& module));

/// Loads what CaptureBacktrace needs. Any thread, not in a signal handler.
void PrepareBacktrace();

/// The return addresses of the calls under way on the calling thread, the innermost first, through the frame of the
/// signal whose handler calls it and from an alternate stack on to the ordinary one. When PrepareBacktrace has run, it
/// may be called in a signal handler. A stack that is damaged may make it fault.
/// \return how many were stored
unsigned int CaptureBacktrace(void** addresses, unsigned int most);

}  // namespace platform
