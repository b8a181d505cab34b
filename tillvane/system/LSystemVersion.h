#pragma once

#include <tillvane/export.h>

/// \return whether the operating system is a 64-bit one, also for a 32-bit process. Found out once. Any thread
TILLVANE_API bool LIsOS64Bit();
