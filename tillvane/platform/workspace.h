#pragma once

/// \file
/// What the desktop does for an application. Nothing here waits for longer than some seconds, whatever the desktop
/// does, and nothing fails but by what it answers where there is no desktop. Any thread.

#include <tillvane/platform/native_types.h>

namespace platform {

/// Shows a file, selected, in the window of its folder.
/// \param path UTF-8, absolute or relative to the current folder
/// \return whether the desktop's file manager took it on
bool RevealFile(const char* path);

/// Starts the application for the user's contacts, or brings it to the front.
/// \return 0, or the number of the system's reason: -10814 where there is no such application
OSStatus OpenAddressBook();

}  // namespace platform
