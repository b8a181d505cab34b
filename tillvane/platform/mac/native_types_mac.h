#pragma once

#include <Carbon/Carbon.h>
#include <CoreFoundation/CFSocket.h>
