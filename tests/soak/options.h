#pragma once

#include <optional>

namespace soak {

/// What the host loses on purpose, so that one can see that the watch finds it.
enum class Leak { kNone, kChild, kDescriptor, kFile, kMemory, kSemaphore, kThread };

struct Options {
  unsigned int seconds = 3600;
  unsigned int window = 0;  ///< seconds between two quiet points; 0 for what fits the time
  Leak leak = Leak::kNone;

  unsigned int WindowSeconds() const;
};

/// Reads the command line. --help ends the program.
/// \return nothing after a mistake, which is then on standard error
std::optional<Options> ReadCommandLine(int argc, char** argv);

}  // namespace soak
