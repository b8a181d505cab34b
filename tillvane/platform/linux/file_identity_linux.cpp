#include <tillvane/platform/linux/file_identity_linux.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

namespace platform {

namespace {

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

Folder OpenFolder(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  Folder folder(fdopendir(descriptor));
  if (!folder) close(descriptor);
  return folder;
}

std::optional<FileIdentity> IdentityIn(int folder, const char* name) {
  struct statx state;
  constexpr int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
  if (statx(folder, name, flags, STATX_INO | STATX_BTIME, &state) != 0) return std::nullopt;
  FileIdentity identity{state.stx_dev_major, state.stx_dev_minor, state.stx_ino};
  identity.has_birth = (state.stx_mask & STATX_BTIME) != 0;
  if (identity.has_birth) {
    identity.birth_seconds = state.stx_btime.tv_sec;
    identity.birth_nanoseconds = state.stx_btime.tv_nsec;
  }
  return identity;
}

bool IsOnDeviceOf(const FileIdentity& a, const FileIdentity& b) {
  return a.device_major == b.device_major && a.device_minor == b.device_minor;
}

/// The number of the device that it had is not compared: after some restarts of the machine it is another one.
bool IsStill(const FileIdentity& identity, const std::optional<FileIdentity>& present) {
  if (!present || present->inode != identity.inode || present->has_birth != identity.has_birth) return false;
  return present->birth_seconds == identity.birth_seconds && present->birth_nanoseconds == identity.birth_nanoseconds;
}

/// Beyond so many names none are kept: one folder's may be more.
constexpr std::size_t kMostNames = 200000;

}  // namespace

std::optional<FileIdentity> IdentityOf(const std::string& path) { return IdentityIn(AT_FDCWD, path.c_str()); }

PresentPaths::Key PresentPaths::KeyOf(const FileIdentity& identity) {
  return {identity.inode, identity.birth_seconds, identity.birth_nanoseconds};
}

/// What is mounted in the folder has numbers of its own, and is left out.
PresentPaths::Names PresentPaths::Read(const std::string& folder) {
  Names names;
  const Folder stream = OpenFolder(folder);
  const auto own = stream ? IdentityIn(dirfd(stream.get()), ".") : std::nullopt;
  if (!own) return names;
  while (const dirent* const entry = readdir(stream.get())) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    // Its d_ino is not asked: where file systems lie above each other it is another number.
    const auto identity = IdentityIn(dirfd(stream.get()), entry->d_name);
    if (!identity || !identity->has_birth || !IsOnDeviceOf(*own, *identity)) continue;
    names.try_emplace(KeyOf(*identity), name);
  }
  return names;
}

const PresentPaths::Names& PresentPaths::In(const std::string& folder) {
  const auto known = folders_.find(folder);
  if (known != folders_.end()) return known->second;
  if (count_ >= kMostNames) {
    folders_.clear();
    count_ = 0;
  }
  const Names& names = folders_.emplace(folder, Read(folder)).first->second;
  count_ += names.size();
  return names;
}

std::string PresentPaths::Of(const std::string& path, const FileIdentity& identity) {
  if (IsStill(identity, IdentityOf(path))) return path;
  const std::size_t slash = path.rfind('/');
  if (!identity.has_birth || slash == std::string::npos) return {};
  const std::string folder = path.substr(0, slash + 1);
  const Names& names = In(folder);
  const auto found = names.find(KeyOf(identity));
  if (found == names.end()) return {};
  const std::string present = folder + found->second;
  // The folder may have been read a while ago.
  return IsStill(identity, IdentityOf(present)) ? present : std::string();
}

}  // namespace platform
