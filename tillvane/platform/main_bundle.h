#pragma once

/// \file
/// The application that runs. Paths are absolute UTF-8 without a slash at the end. Any thread.

#include <string>

namespace platform {

/// The bundle's folder; for a plain executable, the folder it lies in.
std::string MainBundlePath();

/// Where the bundle keeps its resources.
std::string MainBundleResourcesPath();

/// The application's own name: its bundle's without the extension, else its executable's. Never empty.
std::string MainBundleName();

}  // namespace platform
