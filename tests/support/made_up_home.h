#pragma once

#include <filesystem>
#include <string>

#include <tests/support/environment_variable.h>
#include <tests/support/files.h>
#include <tests/support/temp_folder.h>

namespace support {

/// A home for one test, and another user's beside it; the environment names no other folder of this process's user.
///
/// The home is laid out as a container is: `Downloads` in it is a link to `real/Downloads` beside it.
class MadeUpHome {
 public:
  MadeUpHome() {
    MakeFolder(Path());
    MakeFolder(Real("Downloads"));
    std::filesystem::create_directory_symlink(Real("Downloads"), Path("Downloads"));
  }

  std::string Path() const { return root_ + "/home"; }
  std::string Path(const std::string& name) const { return Path() + '/' + name; }
  /// Where a link of the container may lead.
  std::string Real(const std::string& name) const { return root_ + "/real/" + name; }
  /// Beside the home.
  std::string Beside(const std::string& name) const { return root_ + '/' + name; }

 private:
  const TempFolder folder_;
  const std::string root_ = std::filesystem::canonical(folder_.Path()).string();
  const EnvironmentVariable home_{"HOME", Path().c_str()};
  const EnvironmentVariable data_home_{"XDG_DATA_HOME", nullptr};
  const EnvironmentVariable config_home_{"XDG_CONFIG_HOME", nullptr};
  const EnvironmentVariable data_dirs_{"XDG_DATA_DIRS", Beside("share").c_str()};
  const EnvironmentVariable flatpak_id_{"FLATPAK_ID", nullptr};
  const EnvironmentVariable temporary_{"TMPDIR", Beside("temporary").c_str()};
};

}  // namespace support
