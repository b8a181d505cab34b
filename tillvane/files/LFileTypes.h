#pragma once

#include <tillvane/export.h>
#include <tillvane/platform/native_types.h>

/// \file
/// The filters of a file chooser.

/// Appends the extensions, without their dots, of a filter of file types. A filter is pairs of terminated texts, a
/// description and its patterns, and an empty text at the end: "Text files\0*.txt;*.text\0All files\0*.*\0". The
/// patterns "*.txt;*.text" give "txt" and "text"; "*.*" gives nothing.
///
/// A pattern list that is empty ends the filter as well. What is before "*." in a pattern means nothing, so that a
/// pattern without "*." gives nothing; an extension ends at the next ';'. It may be empty, and may come twice.
/// An extension that is not UTF-8 is one as well, where the system's arrays have room for it: on Linux, byte by byte.
/// \param extensions not null; used by one thread at a time
/// \param filter null and an empty one add nothing
TILLVANE_API void ParseFileTypes(LPlatformStringArray* extensions, const char* filter);
