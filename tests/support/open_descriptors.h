#pragma once

#include <map>
#include <string>

namespace support {

/// The process's open descriptors and what each of them is: a path, or a name such as "pipe:[4711]".
using OpenDescriptors = std::map<int, std::string>;

/// Ends the process when the system does not tell.
OpenDescriptors ListOpenDescriptors();

/// What differs, a line for each descriptor that was opened, closed or replaced; empty when nothing does.
std::string DescribeChanges(const OpenDescriptors& before, const OpenDescriptors& after);

}  // namespace support
