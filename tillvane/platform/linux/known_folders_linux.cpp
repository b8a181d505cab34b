#include <tillvane/platform/known_folders.h>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <utility>
#include <vector>

#include <tillvane/platform/linux/known_folders_linux.h>

namespace platform {

namespace {

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

/// A text of the user's account, empty when there is none.
std::string AccountText(char* passwd::*text) {
  constexpr std::size_t kMaximumEntry = std::size_t{1024} * 1024;
  std::vector<char> buffer(1024);
  passwd entry;
  passwd* found = nullptr;
  int error;
  // A directory service may want more room, or be interrupted.
  while ((error = getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found)) != 0 &&
         (error == ERANGE || error == EINTR) && buffer.size() < kMaximumEntry) {
    buffer.resize(buffer.size() * 2);
  }
  return error == 0 && found != nullptr && found->*text != nullptr ? found->*text : std::string();
}

}  // namespace

std::string AccountHome() { return AccountText(&passwd::pw_dir); }

std::string AccountName() { return AccountText(&passwd::pw_name); }

std::string HomeFolderOf(const HomeSources& sources) {
  std::string home = IsAbsolute(sources.home) ? sources.home : sources.account_home();
  home = IsAbsolute(home) ? WithoutTrailingSlashes(std::move(home)) : "/";
  const bool confined = IsFolderName(sources.flatpak_id) && access(sources.flatpak_info.c_str(), F_OK) == 0;
  return confined ? Inside(home, ".var/app/" + sources.flatpak_id) : home;
}

std::string ApplicationSupportFolderOf(const std::string& data_home, const std::string& home) {
  return IsAbsolute(data_home) ? WithoutTrailingSlashes(data_home) : Inside(home, ".local/share");
}

void MakePrivateFolder(const std::string& path) {
  if (mkdir(path.c_str(), 0700) == 0 || errno != ENOENT) return;
  for (std::size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
    mkdir(path.substr(0, end).c_str(), 0700);
  }
  mkdir(path.c_str(), 0700);
}

std::string HomeFolder() {
  HomeSources sources;
  sources.home = Variable("HOME");
  sources.flatpak_id = Variable("FLATPAK_ID");
  return HomeFolderOf(sources);
}

std::string ApplicationSupportFolder() {
  std::string folder = ApplicationSupportFolderOf(Variable("XDG_DATA_HOME"), HomeFolder());
  MakePrivateFolder(folder);
  return folder;
}

}  // namespace platform
