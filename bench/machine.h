#pragma once

/// \file
/// What a run was measured on.

#include <array>
#include <string>

namespace bench {

/// The processes that wanted a processor: of the last minute, five and fifteen; negative where the system does not say.
std::array<double, 3> Load();

struct Machine {
  int processors = 0;           ///< that this process may run on
  std::string kernel;           ///< its name, its release and the processor's kind
  std::string compiler;         ///< of the benchmarks and of the library in them
  std::string c_library;        ///< its version
  std::string temporary_files;  ///< the file system that $TMPDIR is on
};

Machine ThisMachine();

}  // namespace bench
