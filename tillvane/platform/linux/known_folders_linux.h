#pragma once

/// \file
/// How the user's folders are found, apart from where the process looks for them.

#include <string>

namespace platform {

/// The home in the user's account, empty when the account has none.
std::string AccountHome();

/// The login name of the user's account, empty when the user has none.
std::string AccountName();

/// What tells the user's home. An empty text is what is not set.
struct HomeSources {
  std::string home;                             ///< $HOME
  std::string flatpak_id;                       ///< $FLATPAK_ID
  std::string flatpak_info = "/.flatpak-info";  ///< a file that exists inside Flatpak only
  std::string (*account_home)() = AccountHome;
};

/// Inside Flatpak the folder that belongs to the application, else the user's home; "/" when there is none.
std::string HomeFolderOf(const HomeSources& sources);

/// \param data_home $XDG_DATA_HOME
std::string ApplicationSupportFolderOf(const std::string& data_home, const std::string& home);

/// Makes a folder and its missing parents, for the user alone whatever the umask. Existing ones keep their mode.
void MakePrivateFolder(const std::string& path);

}  // namespace platform
