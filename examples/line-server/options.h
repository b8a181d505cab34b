#pragma once

#include <optional>
#include <string>
#include <vector>

namespace line_server {

struct Options {
  std::string host;              ///< talk to the server there; empty to be the server
  unsigned short port = 0;       ///< 0 for a server's that the system chooses
  unsigned int timeout = 30000;  ///< milliseconds without a word before a conversation ends
  std::vector<std::string> lines;
};

/// Reads the command line. --help ends the program.
/// \return nothing after a mistake, which is then on standard error
std::optional<Options> ReadCommandLine(int argc, char** argv);

}  // namespace line_server
