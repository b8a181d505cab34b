#pragma once

/// \file
/// What a file is besides its bytes. Paths are terminated bytes as the system takes them; links are followed; sizes are
/// bytes. Functions answer 0, or -1 with errno; a null path is one that fails. Any thread.

namespace platform {

/// Sets an extended attribute, replacing one of the same name.
/// \param name as macOS has it; a system with several sets of names puts it among the user's
int SetExtendedAttribute(const char* path, const char* name, const void* value, unsigned long size);

}  // namespace platform
