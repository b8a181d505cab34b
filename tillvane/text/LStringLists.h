#pragma once

#include <tillvane/export.h>

/// \file
/// Items between commas.

/// Reads one item of a line of items between commas. The caller keeps `position`, the number of characters that are
/// read, and begins a line with 0, or where the last one ended.
///
/// A NUL, LF or CR ends the line and is not read: `position` stays on it. Double quotes are never part of an item; what
/// is between them is taken as it is, but for those three. Spaces before an item and after it are dropped. What does
/// not fit into `itemSize` - 1 characters is read and dropped; size 0 writes nothing. The item is always terminated.
///
/// `position` must not lie behind the text's end, which cannot be checked. A null text is an empty one. Any thread.
/// \return true when the item is not empty. Both an empty item and the end of the line answer false: look at
///   `text[position]`, which is NUL, LF or CR at the end
TILLVANE_API bool GetCSVListItem(const char* text, unsigned long& position, char* item, unsigned long itemSize);
