#pragma once

#include <tillvane/export.h>

/// \file
/// Formatted text to standard error.

/// Writes formatted text to standard error at once, with the C library's grammar: 511 bytes of it, no line end added.
/// What the C library cannot format, such as a wide character without bytes in the locale, writes nothing. Any thread,
/// not in a signal handler.
TILLVANE_API void OutputDebugStringF(const char* format, ...) __attribute__((format(printf, 1, 2)));
