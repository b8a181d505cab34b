#pragma once

#include <CoreServices/Files.h>

enum { kOnSystemDisk = -32768 };

CF_EXTERN OSErr FSFindFolder(FSVolumeRefNum volume, OSType kind, Boolean make, FSRef* found)
    API_DEPRECATED("", macos(10.0, 10.8));
