#pragma once

#include <optional>
#include <string>
#include <vector>

#include "script.h"

namespace storefront {

struct Options {
  std::string base;                         ///< base identifier of the product
  std::string folder;                       ///< to be remembered, absolute; empty for none
  std::optional<std::vector<Step>> script;  ///< nothing for a session at the keyboard
};

/// Reads the command line, and hands what is meant for the local store to it, in the environment.
///
/// Call it before TillvaneInit. --help ends the program.
/// \return nothing after a mistake, which is then on standard error
std::optional<Options> ReadCommandLine(int argc, char** argv);

}  // namespace storefront
