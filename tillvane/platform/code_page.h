#pragma once

/// \file
/// Western 8-bit text, in the two encodings that go by that name: Windows-1252, in which it is read, and ISO-8859-1, in
/// which it is written. Counts are of bytes or of 16-bit units, without terminators. Buffers are the caller's and do
/// not overlap. Any thread.

#include <cstddef>

namespace platform {

/// Reads Windows-1252. Each byte is one unit; the five that mean nothing are the controls of the same numbers.
/// \param units room for `count`
void UnitsFromWindows1252(const char* text, std::size_t count, unsigned short* units);

/// Writes ISO-8859-1. Each unit is one byte; on macOS a letter and the accent behind it may be one together.
/// \param text room for `count`
/// \return how many bytes; 0 when a unit is none of its characters, and what stands in `text` then has no meaning
std::size_t Iso88591FromUnits(const unsigned short* units, std::size_t count, char* text);

}  // namespace platform
