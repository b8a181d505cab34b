#pragma once

/// \file
/// How the main bundle is found from where the executable lies.

#include <string>

namespace platform {

struct MainBundle {
  std::string path;
  std::string resources;
  std::string name;         ///< never empty
  std::string information;  ///< where the information dictionary would be; empty for a plain executable
};

/// The nearest `NAME.app` whose `Contents` hold the executable; else the application folder, if it holds the
/// executable; else the folder that the executable lies in. Only the texts are looked at, not the files.
/// \param executable absolute, without symbolic links
/// \param application_folder what $APPDIR names, without symbolic links; empty for none
MainBundle MainBundleOf(const std::string& executable, const std::string& application_folder);

/// The path to which /proc/self/exe leads, without the mark that the kernel adds when the file has been replaced.
std::string ExecutablePath();

}  // namespace platform
