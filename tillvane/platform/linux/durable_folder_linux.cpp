#include <tillvane/platform/linux/durable_folder_linux.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <tillvane/platform/posix/descriptor_posix.h>

namespace platform {

namespace {

bool MayBeMadeByUs(const std::string& path, const struct stat& info) {
  return info.st_uid == geteuid() && faccessat(AT_FDCWD, ParentOf(path).c_str(), W_OK, AT_EACCESS) == 0;
}

}  // namespace

std::string ParentOf(const std::string& path) {
  const std::string::size_type slash = path.find_last_of('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

bool SyncFolder(const std::string& path) {
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.IsOpen()) return errno == EACCES;
  return fsync(folder.Get()) == 0 || errno == EINVAL;
}

StandingName StandingNamesAbove(const std::string& file) {
  struct stat info;
  return lstat(file.c_str(), &info) == 0 ? StandingName::kLasts : StandingName::kIsToBeSynced;
}

bool MakeSyncedFolder(const std::string& path, StandingName standing) {
  if (mkdir(path.c_str(), 0700) == 0) return SyncFolder(ParentOf(path));
  if (errno != EEXIST) return false;
  struct stat info;
  if (stat(path.c_str(), &info) != 0) return false;
  if (!S_ISDIR(info.st_mode)) {
    errno = ENOTDIR;
    return false;
  }
  return standing == StandingName::kLasts || !MayBeMadeByUs(path, info) || SyncFolder(ParentOf(path));
}

}  // namespace platform
