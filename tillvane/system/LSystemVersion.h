#pragma once

#include <tillvane/export.h>

/// \file
/// What system this is.

/// Is the operating system a 64-bit one? Also for a 32-bit process. Found out once. Any thread.
TILLVANE_API bool LIsOS64Bit();
