#pragma once

/// \file
/// Folders that the system knows for a user and for the machine. Paths are absolute UTF-8 without a slash at the end.
/// Each call asks afresh. Any thread.

#include <string>
#include <vector>

namespace platform {

/// The user's home; of a confined application the home that the system gave it for its own.
std::string HomeFolder();

/// The home in the user's account, as it stands there; empty when there is no account or no home in it.
std::string AccountHome();

/// Where applications keep their data for this user, for those who write there: it is made, for the user alone, when it
/// is missing; a failure shows when the folder is used.
std::string ApplicationSupportFolder();

/// What a folder is for. Other numbers are kinds that one system knows, or none.
enum class FolderKind : unsigned int {
  kApplications = 1,
  kDocuments = 9,
  kDesktop = 12,
  kApplicationSupport = 14,
  kDownloads = 15,
  kMovies = 17,
  kMusic = 18,
  kPictures = 19,
};

/// Whose folder it is: the user's or the machine's.
enum class FolderDomain { kUser, kLocal };

/// The folders of a kind, the best one first; none when the system knows of none. They need not be there, and none is
/// made.
std::vector<std::string> KnownFolders(FolderKind kind, FolderDomain domain);

/// Where temporary files go, with a slash at its end where the system writes one.
std::string TemporaryFolder();

}  // namespace platform
