#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <objc/NSObjCRuntime.h>

#if defined(__cplusplus)
#define FOUNDATION_EXPORT extern "C"
#else
#define FOUNDATION_EXPORT extern
#endif
