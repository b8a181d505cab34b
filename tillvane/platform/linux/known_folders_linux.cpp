#include <tillvane/platform/known_folders.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include <tillvane/platform/linux/known_folders_linux.h>
#include <tillvane/platform/linux/small_file_linux.h>
#include <tillvane/platform/linux/user_dirs_linux.h>

namespace platform {

namespace {

constexpr const char* kApplications = "applications";
constexpr std::size_t kMaximumUserDirs = std::size_t{64} * 1024;

std::string Variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

bool IsAbsolute(const std::string& path) { return path.starts_with('/'); }

std::string WithoutTrailingSlashes(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

/// `relative` inside `folder`, which may be the root.
std::string Inside(const std::string& folder, const std::string& relative) {
  return (folder == "/" ? "" : folder) + '/' + relative;
}

bool IsFolderName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos;
}

bool IsFolder(const std::string& path) {
  struct stat state;
  return stat(path.c_str(), &state) == 0 && S_ISDIR(state.st_mode);
}

/// The desktop's name for a folder of the user's, empty when it has none.
std::string_view UserDirectoryName(FolderKind kind) {
  switch (kind) {
    case FolderKind::kDocuments:
      return "DOCUMENTS";
    case FolderKind::kDesktop:
      return "DESKTOP";
    case FolderKind::kDownloads:
      return "DOWNLOAD";
    case FolderKind::kMovies:
      return "VIDEOS";
    case FolderKind::kMusic:
      return "MUSIC";
    case FolderKind::kPictures:
      return "PICTURES";
    default:
      return {};
  }
}

HomeSources CurrentHome() {
  HomeSources sources;
  sources.home = Variable("HOME");
  sources.flatpak_id = Variable("FLATPAK_ID");
  return sources;
}

FolderSources CurrentSources() {
  return {CurrentHome(), Variable("XDG_DATA_HOME"), Variable("XDG_DATA_DIRS"), Variable("XDG_CONFIG_HOME"),
          Variable("TMPDIR")};
}

}  // namespace

bool IsInsideFlatpak(const HomeSources& sources) {
  return IsFolderName(sources.flatpak_id) && access(sources.flatpak_info.c_str(), F_OK) == 0;
}

std::string UserHomeOf(const HomeSources& sources) {
  std::string home = IsAbsolute(sources.home) ? sources.home : sources.account_home();
  return IsAbsolute(home) ? WithoutTrailingSlashes(std::move(home)) : "/";
}

std::string HomeFolderOf(const HomeSources& sources) {
  std::string home = UserHomeOf(sources);
  if (IsInsideFlatpak(sources)) return Inside(home, ".var/app/" + sources.flatpak_id);
  return home;
}

std::string ApplicationSupportFolderOf(const std::string& data_home, const std::string& home) {
  return IsAbsolute(data_home) ? WithoutTrailingSlashes(data_home) : Inside(home, ".local/share");
}

std::string ConfigurationFolderOf(const std::string& config_home, const std::string& home) {
  return IsAbsolute(config_home) ? WithoutTrailingSlashes(config_home) : Inside(home, ".config");
}

std::string UserFolderOf(FolderKind kind, const FolderSources& sources) {
  const std::string home = HomeFolderOf(sources.home);
  std::string data_home = ApplicationSupportFolderOf(sources.data_home, home);
  if (kind == FolderKind::kApplicationSupport) return data_home;
  if (kind == FolderKind::kApplications) return Inside(data_home, kApplications);
  const std::string_view name = UserDirectoryName(kind);
  if (name.empty()) return {};
  const std::string config_home = ConfigurationFolderOf(sources.config_home, home);
  std::string text;
  const std::string error = ReadSmallFile(Inside(config_home, "user-dirs.dirs"), kMaximumUserDirs, &text);
  if (!error.empty() || text.size() > kMaximumUserDirs) return {};
  // Flatpak writes whole paths; "$HOME" is the variable.
  return UserDirectoryOf(text, name, UserHomeOf(sources.home));
}

std::string DataDirsOf(const FolderSources& sources) {
  return sources.data_dirs.empty() ? "/usr/local/share:/usr/share" : sources.data_dirs;
}

std::vector<std::string> LocalApplicationsOf(const FolderSources& sources) {
  std::vector<std::string> folders;
  std::istringstream list(DataDirsOf(sources));
  for (std::string folder; std::getline(list, folder, ':');) {
    if (!IsAbsolute(folder)) continue;
    std::string applications = Inside(WithoutTrailingSlashes(std::move(folder)), kApplications);
    if (IsFolder(applications)) folders.push_back(std::move(applications));
  }
  return folders;
}

std::string TemporaryFolderOf(const FolderSources& sources) {
  // Flatpak's /tmp is gone with the application's last process.
  if (IsInsideFlatpak(sources.home)) return "/var/tmp";
  return IsAbsolute(sources.temporary) ? WithoutTrailingSlashes(sources.temporary) : "/tmp";
}

void MakePrivateFolder(const std::string& path) {
  if (mkdir(path.c_str(), 0700) == 0 || errno != ENOENT) return;
  for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
    mkdir(path.substr(0, end).c_str(), 0700);
  }
  mkdir(path.c_str(), 0700);
}

std::string HomeFolder() { return HomeFolderOf(CurrentHome()); }

std::string ApplicationSupportFolder() {
  std::string folder = ApplicationSupportFolderOf(Variable("XDG_DATA_HOME"), HomeFolder());
  MakePrivateFolder(folder);
  return folder;
}

std::string ConfigurationFolder() { return ConfigurationFolderOf(Variable("XDG_CONFIG_HOME"), HomeFolder()); }

std::vector<std::string> KnownFolders(FolderKind kind, FolderDomain domain) {
  if (domain == FolderDomain::kLocal) {
    return kind == FolderKind::kApplications ? LocalApplicationsOf(CurrentSources()) : std::vector<std::string>();
  }
  std::string folder = UserFolderOf(kind, CurrentSources());
  if (folder.empty()) return {};
  return {std::move(folder)};
}

std::string TemporaryFolder() { return TemporaryFolderOf(CurrentSources()); }

}  // namespace platform
