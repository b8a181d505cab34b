#pragma once

#include <optional>
#include <vector>

namespace soak {

/// What the host loses on purpose, so that one can see that the watch finds it.
enum class Leak { kChild, kDescriptor, kFile, kMapping, kMemory, kSemaphore, kSharedMemory, kThread, kHang, kMainHang };

struct Options {
  unsigned int seconds = 3600;
  unsigned int window = 0;     ///< seconds between two quiet points; 0 for what fits the time
  unsigned int patience = 65;  ///< seconds after which a round, or the main thread, hangs: longer than any wait
  std::vector<Leak> leaks;

  unsigned int WindowSeconds() const;
};

/// Reads the command line. --help ends the program.
/// \return nothing after a mistake, which is then on standard error
std::optional<Options> ReadCommandLine(int argc, char** argv);

}  // namespace soak
