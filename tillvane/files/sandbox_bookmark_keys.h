#pragma once

#include <string>
#include <string_view>

/// \file
/// The keys under which grants are kept.

namespace files {

/// The list of the others.
inline constexpr char kBookmarkKeysKey[] = "SECURITY_BOOKMARK_KEYS";

/// The preferences have only keys of UTF-8 that are not empty; and a bookmark in the list's place would lose all
/// others.
bool IsBookmarkKey(std::string_view key);

/// A key as items have room for it: a longer one is cut between characters.
std::string CutBookmarkKey(const char* key);

}  // namespace files
