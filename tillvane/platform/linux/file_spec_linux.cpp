#include <tillvane/platform/file_spec.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace platform {

namespace {

/// The path without symbolic links of what is there; empty when nothing is.
std::string ResolvedPath(const std::string& path) {
  struct Free {
    void operator()(char* text) const { std::free(text); }
  };
  const std::unique_ptr<char, Free> resolved(realpath(path.c_str(), nullptr));
  return resolved ? resolved.get() : std::string();
}

bool IsFolder(const std::string& path) {
  struct stat info;
  return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool Fill(FSSpec* spec, std::string_view parent, std::string_view name) {
  if (parent.size() >= sizeof spec->parent || name.size() >= sizeof spec->name) return false;
  *spec = {};
  parent.copy(spec->parent, parent.size());
  spec->name[0] = static_cast<unsigned char>(name.size());
  std::copy(name.begin(), name.end(), spec->name + 1);
  return true;
}

/// \param path without a slash at its end, but for the root's own
bool FillFromPath(FSSpec* spec, std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return Fill(spec, path.substr(0, std::max<std::size_t>(slash, 1)), path.substr(slash + 1));
}

/// What is not there, in a folder that is.
bool FillFromParent(FSSpec* spec, std::string path) {
  while (path.ends_with('/')) path.pop_back();
  const std::size_t slash = path.rfind('/');
  const std::string name = path.substr(slash + 1);
  // A step names no file.
  if (name.empty() || name == "." || name == "..") return false;
  const std::string parent = ResolvedPath(slash == std::string::npos ? "." : path.substr(0, slash + 1));
  return !parent.empty() && IsFolder(parent) && Fill(spec, parent, name);
}

}  // namespace

bool MakeFileSpec(const char* path, FSSpec* spec) {
  const std::string resolved = ResolvedPath(path);
  return resolved.empty() ? FillFromParent(spec, path) : FillFromPath(spec, resolved);
}

std::string FileSpecPath(const FSSpec& spec) {
  std::string path = spec.parent;
  if (!path.ends_with('/')) path += '/';
  return path.append(reinterpret_cast<const char*>(spec.name) + 1, spec.name[0]);
}

}  // namespace platform
