#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFArray* CFArrayRef;

CF_EXTERN const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);
