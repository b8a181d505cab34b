#pragma once

#include <tillvane/export.h>

/// \file
/// The bundle of the application that runs: a folder NAME.app whose Contents hold the executable, on Linux also the
/// folder that APPDIR names while it holds the executable, as that of an AppImage does; else the executable is a bare
/// one. Paths are UTF-8; one that is not is an empty text. Any thread.

/// Writes the path of the bundle's folder, absolute, without a slash at its end: NAME.app, the folder of APPDIR, or the
/// one that a bare executable lies in; nothing when the executable is not known. As many whole characters are written
/// as fit, and a terminator; where memory is missing std::bad_alloc leaves, with an empty `dest`.
/// \param dest receives the path
/// \param capacity bytes that `dest` can hold; 0 writes nothing
TILLVANE_API void LGetBundleFolder(char* dest, unsigned long capacity);

/// Writes the folder in which the application keeps its resources, absolute, without a slash at its end:
/// Contents/Resources in a NAME.app; else the bundle's folder itself, or the one that a bare executable lies in. It
/// need not be there. As many whole characters are written as fit, and a terminator.
/// \param dest receives the path
/// \param capacity bytes that `dest` can hold; 0 writes nothing
TILLVANE_API void LGetInstalledApplicationResourcesFolder(char* dest, unsigned long capacity);

/// Writes the folder "resources" in the folder above; where there is none above, the relative path "resources".
/// \param dest room for 260 bytes; what does not fit is cut
TILLVANE_API void LGetInstalledApplicationNestedResourcesFolder(char* dest);

/// Is there a bundle?
/// \return whether the application runs from a bundle, and not as a bare executable
TILLVANE_API bool LIsApplicationBundled();
