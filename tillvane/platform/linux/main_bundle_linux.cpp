#include <tillvane/platform/main_bundle.h>

#include <glib.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <system_error>

#include <tillvane/platform/linux/info_plist_linux.h>
#include <tillvane/platform/linux/main_bundle_linux.h>
#include <tillvane/platform/linux/small_file_linux.h>

namespace platform {

/// There is but the main bundle.
struct NativeBundle {};

namespace {

constexpr const char* kExecutableLink = "/proc/self/exe";
constexpr const char* kInformation = "/Info.plist";

/// The folder that a path lies in; the root lies in itself.
std::string_view Parent(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == 0 || slash == std::string_view::npos ? "/" : path.substr(0, slash);
}

std::string_view LastName(std::string_view path) { return path.substr(path.rfind('/') + 1); }

/// The name of a folder `NAME.app`, empty for any other.
std::string_view ApplicationName(std::string_view folder) {
  constexpr std::string_view kExtension = ".app";
  const std::string_view name = LastName(folder);
  return name.ends_with(kExtension) ? name.substr(0, name.size() - kExtension.size()) : "";
}

bool Holds(std::string_view folder, std::string_view path) {
  return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

bool IsSameFile(const char* one, const char* other) {
  struct stat first;
  struct stat second;
  return stat(one, &first) == 0 && stat(other, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

/// The path of what $APPDIR names; empty when it names nothing.
std::string ApplicationFolder() {
  const char* folder = std::getenv("APPDIR");
  if (folder == nullptr || folder[0] != '/') return {};
  std::error_code error;
  const std::string resolved = std::filesystem::canonical(folder, error).string();
  return error ? std::string() : resolved;
}

MainBundle CurrentBundle() { return MainBundleOf(ExecutablePath(), ApplicationFolder()); }

}  // namespace

MainBundle MainBundleOf(const std::string& executable, const std::string& application_folder) {
  for (std::string_view folder = Parent(executable); folder != "/"; folder = Parent(folder)) {
    const std::string_view bundle = Parent(folder);
    const std::string_view name = ApplicationName(bundle);
    if (LastName(folder) != "Contents" || name.empty()) continue;
    const std::string contents(folder);
    return {std::string(bundle), contents + "/Resources", std::string(name), contents + kInformation};
  }
  const std::string name(executable.empty() ? "application" : LastName(executable));
  if (!application_folder.empty() && Holds(application_folder, executable)) {
    return {application_folder, application_folder, name, application_folder + kInformation};
  }
  const std::string folder(Parent(executable));
  return {folder, folder, name, {}};
}

std::string ExecutablePath() {
  constexpr std::string_view kMark = " (deleted)";
  std::error_code error;
  std::string path = std::filesystem::read_symlink(kExecutableLink, error).string();
  if (path.ends_with(kMark) && !IsSameFile(path.c_str(), kExecutableLink)) path.resize(path.size() - kMark.size());
  return path;
}

std::string MainBundlePath() {
  const std::string executable = ExecutablePath();
  // Its folder would be the root.
  if (executable.empty()) return {};
  std::string path = MainBundleOf(executable, ApplicationFolder()).path;
  return g_utf8_validate(path.c_str(), -1, nullptr) != 0 ? path : std::string();
}

std::string MainBundleResourcesPath() { return CurrentBundle().resources; }

std::string MainBundleName() { return CurrentBundle().name; }

bool IsMainBundleFolder() { return !CurrentBundle().information.empty(); }

CFBundleRef MainBundleReference() {
  static NativeBundle bundle;
  return &bundle;
}

std::string BundleInformation(CFBundleRef, const char* key) {
  const std::string path = CurrentBundle().information;
  std::string data;
  // More than it may hold is no dictionary that can be read.
  if (path.empty() || !ReadSmallFile(path, kMaximumInfoPlist, &data).empty()) return {};
  return InfoPlistText(data, key);
}

}  // namespace platform
