#pragma once

#include <tillvane/export.h>

/// \file
/// Labels of menus and dialogs: what marks a mnemonic is taken out.
///
/// `dst` has room for all of `src` and its terminator, and may be `src` itself; otherwise the two do not overlap. A
/// null `src` gives "". Any thread.

/// Copies a text without its single '&'; "&&" becomes '&'. A lone '&' at the end goes too.
TILLVANE_API void LStripAmpersand(char* dst, const char* src);

/// Copies a text without each group from "(&" to the next ')', or to the end where there is none: mnemonics that are
/// written behind a label, as in "File(&F)".
TILLVANE_API void LStripJPStyleAmpersand(char* dst, const char* src);

/// What a dialog shows of a label: LStripAmpersand().
TILLVANE_API void LPrepareForDisplay(char* dst, const char* src);

/// What a menu shows of a label: LStripAmpersand(), then all before the first tab, behind which a key may be named.
TILLVANE_API void LPrepareForMenuItem(char* dst, const char* src);

/// Ends a text at its first tab. Null does nothing.
TILLVANE_API void LStripFromFirstTabToEnd(char* text);
