#pragma once

#include <CoreFoundation/CFBase.h>

typedef const struct __CFData* CFDataRef;
