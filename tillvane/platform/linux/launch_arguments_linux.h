#pragma once

#include <string>
#include <vector>

namespace platform {

/// The program and its arguments of a desktop entry's command line, for a start without any file: a field code ('%' and
/// a letter) stands for nothing, and an argument that is nothing else falls away; "%%" is a '%'. Empty when there is no
/// program, or quotes are not closed.
std::vector<std::string> LaunchArguments(const std::string& command);

}  // namespace platform
