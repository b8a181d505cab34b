#pragma once

#include <CoreFoundation/CoreFoundation.h>

/* The type that stands for any other. */
enum { typeWildCard = '****' };
