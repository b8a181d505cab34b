#pragma once

/// \file
/// The system's own types that public declarations name. On a system that lacks one, it is an alias of our own type.

#if defined(__APPLE__)
#include <tillvane/platform/mac/native_types_mac.h>
#else
#include <tillvane/platform/linux/native_types_linux.h>
#endif
