#pragma once

/// \file
/// The system's own arrays of texts, and its texts as they stand in them. Texts are UTF-8; the system's array has no
/// others. Where memory is missing
/// std::bad_alloc may leave. An array is used by one thread at a time.

#include <string>
#include <string_view>
#include <vector>

#include <tillvane/platform/native_types.h>

namespace platform {

/// An empty one, which the caller releases.
LPlatformStringArray* CreateStringArray();
void ReleaseStringArray(LPlatformStringArray* array);

void AppendString(LPlatformStringArray* array, std::string_view text);

/// In a time that does not grow with the number of texts, where the array is our own type.
bool ContainsString(LPlatformStringArray* array, std::string_view text);

/// Takes away all that are equal.
void RemoveString(LPlatformStringArray* array, std::string_view text);

/// Copies, in their order.
std::vector<std::string> StringsOf(LPlatformStringArray* array);

/// \return empty for one that cannot be written as UTF-8
std::string TextOfString(LPlatformString* string);

}  // namespace platform
