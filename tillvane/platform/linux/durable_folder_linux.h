#pragma once

#include <string>

/// \file
/// Folders whose names last through a loss of power.

namespace platform {

/// The folder that a path lies in.
std::string ParentOf(const std::string& path);

/// Makes the names in a folder last. A folder that may be searched but not read, and a file system that syncs no
/// folders, cannot promise more than they do. \return false with errno
bool SyncFolder(const std::string& path);

/// Does the name of a folder that stands last already? Whoever made it may not have come to that.
enum class StandingName { kLasts, kIsToBeSynced };

/// Of the folders above a file that its maker had made to last before: they do when the file is there.
StandingName StandingNamesAbove(const std::string& file);

/// Makes a folder, for the user alone; one that stands is left as it is. Its parent has to be there. The name of one
/// that stands is synced only if this user may have made it: what others have made is not ours to answer for.
/// \return false with errno
bool MakeSyncedFolder(const std::string& path, StandingName standing);

}  // namespace platform
