#pragma once

/// \file
/// How the user's folders are found, apart from where the process looks for them.

#include <string>
#include <vector>

#include <tillvane/platform/known_folders.h>

namespace platform {

/// What tells the user's home. An empty text is what is not set.
struct HomeSources {
  std::string home;                             ///< $HOME
  std::string flatpak_id;                       ///< $FLATPAK_ID
  std::string flatpak_info = "/.flatpak-info";  ///< a file that exists inside Flatpak only
  std::string (*account_home)() = AccountHome;
};

/// Both of Flatpak's signs are there.
bool IsInsideFlatpak(const HomeSources& sources);

/// The user's home; "/" when there is none. What is confined is told of its own home by $HOME, but inside Flatpak.
std::string UserHomeOf(const HomeSources& sources);

/// Inside Flatpak the folder that belongs to the application, else the user's home; "/" when there is none.
std::string HomeFolderOf(const HomeSources& sources);

/// \param data_home $XDG_DATA_HOME
std::string ApplicationSupportFolderOf(const std::string& data_home, const std::string& home);

/// Where applications keep the user's settings, in folders of their own. Nothing is made.
/// \param config_home $XDG_CONFIG_HOME
std::string ConfigurationFolderOf(const std::string& config_home, const std::string& home);

/// The one of this process. \see HomeFolder
std::string ConfigurationFolder();

/// What tells the folders. An empty text is what is not set.
struct FolderSources {
  HomeSources home;
  std::string data_home;    ///< $XDG_DATA_HOME
  std::string data_dirs;    ///< $XDG_DATA_DIRS
  std::string config_home;  ///< $XDG_CONFIG_HOME
  std::string temporary;    ///< $TMPDIR
};

/// The user's own folder of a kind, empty when the desktop tells of none. Nothing is made.
std::string UserFolderOf(FolderKind kind, const FolderSources& sources);

/// The folders of the machine's data, separated by colons.
std::string DataDirsOf(const FolderSources& sources);

/// The machine's folders of applications: those among `applications` in its data folders that are there.
std::vector<std::string> LocalApplicationsOf(const FolderSources& sources);

std::string TemporaryFolderOf(const FolderSources& sources);

/// Makes a folder and its missing parents, for the user alone whatever the umask. Existing ones keep their mode.
void MakePrivateFolder(const std::string& path);

}  // namespace platform
