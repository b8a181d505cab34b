#pragma once

#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>
#include <sys/sysctl.h>

using LPlatformProcessSerialNumber = ProcessSerialNumber;
