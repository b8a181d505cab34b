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

bool IsInside(std::string_view path, const std::string& home) { return path.starts_with(home); }

/// A path without links; empty when it leads to nothing.
std::string Resolve(const char* path) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> resolved(realpath(path, nullptr));
  return resolved != nullptr ? resolved.get() : std::string();
}

bool IsLink(const std::string& path) {
  struct stat state;
  return lstat(path.c_str(), &state) == 0 && S_ISLNK(state.st_mode);
}

/// The place of a path that is not there, by the first of its folders whose name is a link's in the home.
std::string PlaceBehindLink(std::string_view path, const std::string& home) {
  if (!IsInside(path, home)) return {};
  // With the slash behind the home the first name is empty: the home and a slash, which is no link.
  std::string_view rest = path.substr(home.size());
  for (std::size_t slash; (slash = rest.find('/')) != std::string_view::npos;) {
    const std::string entry = home + '/' + std::string(rest.substr(0, slash));
    rest.remove_prefix(slash + 1);
    if (!IsLink(entry)) continue;
    const std::string target = Resolve(entry.c_str());
    if (target.empty() || IsInside(target, home)) return {};
    // The root has its slash already.
    return (target.ends_with('/') ? target : target + '/') + std::string(rest);
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

bool LFile::IsPathInSandbox(const char* path) { return IsInside(path, platform::HomeFolder()); }

bool LFile::MakeNonSandboxedFilePath(char* dest, const char* path) {
  std::string place = PlaceOutside(path);
  // Cut, it would be another one.
  if (place.size() > files::kPathLength) place.clear();
  files::StorePath(dest, place.data(), place.size());
  return !place.empty();
}
