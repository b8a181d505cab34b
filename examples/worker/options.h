#pragma once

#include <optional>

namespace worker {

struct Options {
  unsigned int below = 3000000;  ///< the primes below this number are counted
  unsigned int threads = 2;
};

/// Reads the command line. --help ends the program.
/// \return nothing after a mistake, which is then on standard error
std::optional<Options> ReadCommandLine(int argc, char** argv);

}  // namespace worker
