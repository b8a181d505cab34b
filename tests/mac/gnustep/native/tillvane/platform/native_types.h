#pragma once

/// \file
/// Stands before the library's own: the types of macOS that GNUstep has too.

#include <sys/types.h>
#include <tillvane/platform/mac/native_types_foundation_mac.h>
