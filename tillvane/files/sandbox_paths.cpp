#include <sys/stat.h>

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>
#include <tillvane/platform/known_folders.h>

namespace {

bool BeginsWith(std::string_view path, const std::string& home) { return path.starts_with(home); }

/// A path without links; empty when it leads to nothing.
std::string Resolve(const char* path) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> resolved(realpath(path, nullptr));
  return resolved != nullptr ? resolved.get() : std::string();
}

/// Of a path without links. The way to the home itself may be one: /home on some systems.
bool IsInside(const std::string& resolved, const std::string& home) {
  if (BeginsWith(resolved, home)) return true;
  const std::string place = Resolve(home.c_str());
  return !place.empty() && BeginsWith(resolved, place);
}

bool IsLink(const std::string& path) {
  struct stat state;
  return lstat(path.c_str(), &state) == 0 && S_ISLNK(state.st_mode);
}

/// The place of a path that is not there, by the first of its folders whose name is a link's in the home.
std::string PlaceBehindLink(std::string_view path, const std::string& home) {
  if (!BeginsWith(path, home)) return {};
  // With the slash behind the home the first name is empty: the home and a slash, which is no link.
  std::string_view rest = path.substr(home.size());
  for (std::size_t slash; (slash = rest.find('/')) != std::string_view::npos;) {
    const std::string entry = home + '/' + std::string(rest.substr(0, slash));
    rest.remove_prefix(slash + 1);
    if (!IsLink(entry)) continue;
    const std::string target = Resolve(entry.c_str());
    if (target.empty() || IsInside(target, home)) return {};
    char place[files::kPathSize];
    LFile::_MakeFilePath(place, target.c_str(), std::string(rest).c_str(), "");
    return place;
  }
  return {};
}

std::string PlaceOutside(const char* path) {
  const std::string home = platform::HomeFolder();
  if (!LFile::TestFileExists(path)) return PlaceBehindLink(path, home);
  const std::string resolved = Resolve(path);
  return IsInside(resolved, home) ? std::string() : resolved;
}

}  // namespace

bool LFile::IsPathInSandbox(const char* path) { return BeginsWith(path, platform::HomeFolder()); }

bool LFile::MakeNonSandboxedFilePath(char* dest, const char* path) {
  const std::string place = PlaceOutside(path);
  files::StorePath(dest, place.data(), place.size());
  return !place.empty();
}
