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

/// At the place where it was. The number of its device is another one after some restarts of the machine.
bool IsStill(const FileIdentity& identity, const std::optional<FileIdentity>& present) {
  if (!present || present->inode != identity.inode || present->has_birth != identity.has_birth) return false;
  return present->birth_seconds == identity.birth_seconds && present->birth_nanoseconds == identity.birth_nanoseconds;
}

/// \return the name of the entry; empty when no entry is this file
std::string NameIn(DIR* folder, const FileIdentity& identity) {
  while (const dirent* const entry = readdir(folder)) {
    // Its d_ino is not asked: where file systems lie above each other it is another number.
    const std::string name = entry->d_name;
    if (name != "." && name != ".." && IdentityIn(dirfd(folder), entry->d_name) == identity) return name;
  }
  return {};
}

}  // namespace

std::optional<FileIdentity> IdentityOf(const std::string& path) { return IdentityIn(AT_FDCWD, path.c_str()); }

std::string PresentPathOf(const std::string& path, const FileIdentity& identity) {
  if (IsStill(identity, IdentityOf(path))) return path;
  const std::size_t slash = path.rfind('/');
  if (!identity.has_birth || slash == std::string::npos) return {};
  const std::string folder = path.substr(0, slash + 1);
  const Folder stream = OpenFolder(folder);
  if (!stream) return {};
  const std::string name = NameIn(stream.get(), identity);
  return name.empty() ? name : folder + name;
}

}  // namespace platform
