#pragma once

/// \file
/// Which system this is. Any thread.

namespace platform {

struct SystemVersion {
  unsigned int major_number, minor_number;
};

/// The system's version: of 10.7.5, 10 and 7. What the system does not tell is 0.
SystemVersion CurrentSystemVersion();

/// Is it a 64-bit system, whatever this process is? One that does not tell is none.
bool IsSystem64Bit();

}  // namespace platform
