#pragma once

#include <tillvane/export.h>

/// \file
/// The user's locale.

/// Sets the process's locale to the user's, the first time, and answers what it is called.
///
/// The first call belongs to the start of the program (LUnixAppInitCommon makes it): other threads may not use the
/// locale meanwhile. Later calls change nothing and answer what the first one did, whatever category they ask for; they
/// may come from any thread, not from a signal handler.
/// \param category the C library's: LC_ALL, LC_CTYPE and so on
/// \return the C library's name of the locale, such as "en_US.UTF-8"; where categories differ and LC_ALL was asked for,
///   a list of them. Null when there is no such category. The library's, and it stays
TILLVANE_API const char* LGetLocale(int category);
