#pragma once

/// \file
/// The system's own file URLs. A function that gives one, or a text, gives a reference, which the caller releases; null
/// is none, and nothing but ReleaseURL takes it. Where memory is missing std::bad_alloc may leave. Any thread.

#include <tillvane/platform/native_types.h>

namespace platform {

/// \param path as the system writes paths, absolute or relative; it is looked at, the file is not
/// \return null when the path is empty
CFURLRef URLFromFileSystemPath(CFStringRef path, bool is_folder);

/// The absolute URL of the main bundle. \return null when it has none
CFURLRef MainBundleURL();

/// The absolute URL of the folder in which the main bundle keeps its resources. \return null when it has none
CFURLRef MainBundleResourcesURL();

/// \return null when it has none that can be written as text
CFStringRef URLFileSystemPath(CFURLRef url);

/// Does the system find something where it leads?
bool IsURLOfSomething(CFURLRef url);

/// What it was made for.
bool IsURLOfFolder(CFURLRef url);

void ReleaseURL(CFURLRef url);

}  // namespace platform
