#pragma once

#include <CoreFoundation/CoreFoundation.h>

enum { gestaltSystemVersionMajor = 'sys1', gestaltSystemVersionMinor = 'sys2' };

CF_EXTERN OSErr Gestalt(OSType selector, SInt32* answer) API_DEPRECATED("", macos(10.0, 10.8));
