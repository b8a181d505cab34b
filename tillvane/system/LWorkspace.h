#pragma once

#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>

/// \file
/// What the desktop does for an application. Where no desktop runs nothing happens; where it does not answer, nothing
/// here waits for longer than some seconds. Any thread.

/// Starts the application for the user's contacts, or brings it to the front.
/// \return 0, or the number of the system's reason, as where there is no such application
TILLVANE_API OSStatus LOpenAddressBook();

/// Shows a file, selected, in the window of its folder.
/// \param path UTF-8
/// \return whether the desktop's file manager took it on; not for null and for an empty path
TILLVANE_API bool LRevealInFinder(const char* path);

/// Does nothing: there for hosts that call it.
TILLVANE_API void LOpenSoundPane();
/// Does nothing: there for hosts that call it.
TILLVANE_API void LOpenUniversalAccessPane();
