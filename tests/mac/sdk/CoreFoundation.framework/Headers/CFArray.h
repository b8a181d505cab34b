#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFArray* CFArrayRef;

CF_EXTERN CFIndex CFArrayGetCount(CFArrayRef array);
CF_EXTERN const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
