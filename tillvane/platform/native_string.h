#pragma once

/// \file
/// The system's own texts: immutable, made of 16-bit units of UTF-16. A function that gives one gives a reference,
/// which the caller releases; null is no text, and nothing but ReleaseString takes it. Sizes are in units or in bytes.
/// Where memory is missing std::bad_alloc may leave. Any thread.

#include <cstddef>

#include <tillvane/platform/native_types.h>

namespace platform {

/// \param text terminated
/// \return null when it is not well-formed UTF-8
CFStringRef StringFromUTF8(const char* text);

/// Takes any units as they are, halves of surrogate pairs too.
CFStringRef StringFromUnits(const unsigned short* units, std::size_t length);

std::size_t StringLength(CFStringRef string);

/// \param units room for StringLength(string)
void CopyStringUnits(CFStringRef string, unsigned short* units);

/// Writes a text as UTF-8, and a terminator.
/// \return false when it does not fit, or has half a surrogate pair; what then stands in `text` has no meaning
bool CopyStringUTF8(CFStringRef string, char* text, std::size_t size);

void ReleaseString(CFStringRef string);

}  // namespace platform
