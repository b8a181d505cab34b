#pragma once

/// \file
/// What the answers of the system about a volume mean.

namespace files {

/// The file system's limit of a file's size.
enum SizeLimit { kSizeLimitOfFAT16 = 0, kSizeLimitOfFAT32 = 1, kNoSizeLimit = 2 };

// An unknown volume has no attributes, so that it is all three at once.

bool IsExternal(unsigned int attributes);
bool IsRemovable(unsigned int attributes);
bool IsNetwork(unsigned int attributes);

/// Whether a volume is local that has this number for its kind of file system. An unknown one is.
bool IsLocal(unsigned short file_system, unsigned int attributes);

/// \param file_system the name of the kind, in any case, of which 259 characters count; empty when it is unknown
SizeLimit SizeLimitOf(const char* file_system);

/// What a path says of its drive: 'C:\' of letters and digits at its beginning, or '/', or nothing.
/// \param out a path's buffer; may be the path
void DriveOfPathText(char* out, const char* path);

}  // namespace files
