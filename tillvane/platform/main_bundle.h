#pragma once

/// \file
/// The application that runs. Paths are absolute UTF-8 without a slash at the end. Any thread.

#include <string>

#include <tillvane/platform/native_types.h>

namespace platform {

/// The bundle's folder; for a plain executable, the folder it lies in. Empty when that is not known or no UTF-8.
std::string MainBundlePath();

/// Where the bundle keeps its resources.
std::string MainBundleResourcesPath();

/// The application's own name: its bundle's without the extension, else its executable's. Never empty.
std::string MainBundleName();

/// Whether the application is a folder, and not an executable that lies anywhere.
bool IsMainBundleFolder();

/// The bundle itself, which is not released.
CFBundleRef MainBundleReference();

/// A text of the bundle's information dictionary (its Info.plist), UTF-8; empty where there is none: no such key, a
/// value that is no text, no dictionary, one that cannot be read.
std::string BundleInformation(CFBundleRef bundle, const char* key);

}  // namespace platform
