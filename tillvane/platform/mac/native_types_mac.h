#pragma once

#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>
#include <sys/sysctl.h>
#include <tillvane/platform/mac/native_types_foundation_mac.h>

using LPlatformProcessSerialNumber = ProcessSerialNumber;
