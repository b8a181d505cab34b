#pragma once

/// \file
/// A file by its folder and its name of at most 63 bytes: the form that the old file manager takes. Paths are
/// terminated UTF-8, on Linux any bytes. Any thread.

#include <string>

#include <tillvane/platform/native_types.h>

namespace platform {

/// What is there is found, symbolic links followed; what is not there is named in its folder, which has to be there.
/// \return false, and the specification is as it was, when neither is so or its folder or name does not fit
bool MakeFileSpec(const char* path, FSSpec* spec);

/// The absolute path of what a specification names; empty where its volume does not tell it.
std::string FileSpecPath(const FSSpec& spec);

}  // namespace platform
