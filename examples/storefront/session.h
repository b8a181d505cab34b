#pragma once

#include <string>
#include <vector>

#include "script.h"

namespace storefront {

class HostProcess;
class ProgressLine;

/// Runs a script to its end, to a "quit", to Ctrl-C or to SIGTERM.
/// \return false when a step failed
bool RunScript(HostProcess& process, ProgressLine& progress, const std::string& base, const std::vector<Step>& steps);

/// Asks at the keyboard what to do, until q, the end of input, Ctrl-C or SIGTERM.
void RunMenu(HostProcess& process, ProgressLine& progress, const std::string& base);

}  // namespace storefront
