#pragma once

#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>

/// \file
/// A URL of a file that the user granted, of the system's own kind, as a host's file chooser gives it to the bookmarks.
/// Where memory is missing std::bad_alloc leaves. Any thread.

/// Makes the URL of a file.
/// \param path terminated; relative to the current directory, or absolute. The file need not be there
/// \return a reference, which the caller releases; null for a null or empty path, and for a relative one when the
///   current directory is gone
TILLVANE_API LPlatformURL* LPlatformURLCreate(const char* path);

/// Gives a reference back; null is none. What was given to LSandboxBookmarkManager lives on there.
TILLVANE_API void LPlatformURLRelease(LPlatformURL* url);
