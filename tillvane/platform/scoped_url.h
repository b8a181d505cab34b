#pragma once

/// \file
/// Files that the user granted, by the system's own URLs of them, and bookmarks: bytes by which another run of the
/// application gets such a file again.
///
/// Paths are as the system writes them. A function that gives a URL gives a reference, which the caller releases. Null
/// is a URL without a path, access or bookmark. Where memory is missing std::bad_alloc may leave. Any thread.

#include <optional>
#include <string>
#include <vector>

#include <tillvane/platform/native_types.h>

namespace platform {

/// \param path relative to the current directory, or absolute; the file need not be there
/// \return null for an empty path, and for a relative one when the current directory is gone
LPlatformURL* CreateScopedURL(const char* path);

void RetainScopedURL(LPlatformURL* url);
void ReleaseScopedURL(LPlatformURL* url);

/// Absolute, without a slash at its end but the root's.
std::string ScopedURLPath(LPlatformURL* url);

/// Each start is balanced by a stop. Whether the system then lets the file be used shows when it is used.
/// \return whether URLs of this kind have such an access, that is whether there was anything to start or to stop
bool StartScopedAccess(LPlatformURL* url);
bool StopScopedAccess(LPlatformURL* url);

/// \return none when the system does not make one, for example for a file that is not there
std::optional<std::vector<unsigned char>> ScopedBookmark(LPlatformURL* url);

/// What became of a bookmark: a URL, an error, or neither.
struct ResolvedBookmark {
  LPlatformURL* url = nullptr;
  bool has_failed = false;
};

/// \param bookmark any bytes
ResolvedBookmark ResolveScopedBookmark(const std::vector<unsigned char>& bookmark);

/// Around many of those, one after the other in one thread: what the system was asked for one, the next ones need not
/// ask again. Without a Begin an End does nothing.
void BeginResolvingMany();
void EndResolvingMany();

}  // namespace platform
