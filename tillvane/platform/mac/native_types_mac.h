#pragma once

#include <Carbon/Carbon.h>
#include <CoreFoundation/CFSocket.h>
#include <sys/sysctl.h>

using LPlatformProcessSerialNumber = ProcessSerialNumber;
