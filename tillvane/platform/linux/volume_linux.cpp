#include <tillvane/platform/volume.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <optional>
#include <string_view>
#include <utility>

#include <tillvane/platform/linux/block_device_linux.h>
#include <tillvane/platform/linux/mount_walk_linux.h>
#include <tillvane/platform/linux/network_mount_linux.h>
#include <tillvane/platform/linux/volume_linux.h>
#include <tillvane/platform/posix/account_posix.h>

namespace platform {

namespace {

/// Image files that hold file systems with image files.
constexpr int kMostLoops = 8;

struct Volume {
  Mount mount;
  std::string path;  ///< what the kernel may be asked about; empty when it is not to be asked
};

std::optional<std::string> ReadLink(const std::string& path) {
  char target[PATH_MAX];
  const ssize_t length = readlink(path.c_str(), target, sizeof target);
  if (length < 0) return std::nullopt;
  return std::string(target, static_cast<std::size_t>(length));
}

/// \return nothing where a path starts in a current folder that nobody knows
std::optional<std::string> AbsolutePath(const char* path) {
  if (path[0] == '\0' || path[0] == '/') return path;
  char folder[PATH_MAX];
  // Not the C library's, which climbs up by itself where the kernel has no answer. Of a folder that cannot be reached
  // from the root Linux tells what is no path.
  const long length = syscall(SYS_getcwd, folder, sizeof folder);
  if (length <= 0 || folder[0] != '/') return std::nullopt;
  return folder + std::string("/") + path;
}

/// What the kernel may be asked about, or the mount where it is not to be asked.
WayToVolume FindWay(const MountTable& table, const char* path) {
  const std::optional<std::string> absolute = AbsolutePath(path);
  // With a network mount somewhere nobody knows where an unknown folder is.
  if (!absolute) return HasNetworkMount(table) ? WayToVolume{} : WayToVolume{nullptr, path};
  WayToVolume way = FollowPath(table, *absolute, ReadLink);
  // As it was given, it does not need the folders above the current one.
  if (way.mount == nullptr && way.path == *absolute) way.path = path;
  return way;
}

/// Where something lies, without waiting for a server to tell what is new there.
bool AskForMount(const char* path, struct statx* state) {
  return statx(AT_FDCWD, path, AT_STATX_DONT_SYNC, STATX_MNT_ID, state) == 0 && (state->stx_mask & STATX_MNT_ID) != 0;
}

/// The mount that holds what has this state, when that is the root's own and not in the table.
std::optional<Mount> FindRootMount(const MountTable& table, const struct statx& state) {
  std::optional<Mount> mount = MakeRootMount(table, state.stx_mnt_id, state.stx_dev_major, state.stx_dev_minor);
  struct statx root;
  // A pipe, too, is in a mount that nobody sees.
  if (!mount || !AskForMount("/", &root) || root.stx_mnt_id != state.stx_mnt_id) return std::nullopt;
  return mount;
}

/// Finds the mount by what the kernel answers, and before that, by the mount table alone, makes sure that its answer
/// will not wait for a server.
std::optional<Volume> FindVolume(const char* path) {
  // More than one round when something is mounted, perhaps by this very query, after the table was read.
  for (int rounds = 3; rounds > 0; --rounds) {
    const MountTable table = ReadMountTable();
    // Without it nobody knows whether the kernel would wait.
    if (table.empty()) return std::nullopt;
    WayToVolume way = FindWay(table, path);
    if (way.mount != nullptr) return Volume{*way.mount, {}};
    struct statx state;
    if (way.path.empty() || !AskForMount(way.path.c_str(), &state)) return std::nullopt;
    const Mount* mount = FindMount(table, state.stx_mnt_id);
    if (mount != nullptr) return Volume{*mount, std::move(way.path)};
    std::optional<Mount> root = FindRootMount(table, state);
    if (root) return Volume{std::move(*root), std::move(way.path)};
  }
  return std::nullopt;
}

bool IsBtrfs(const Mount& mount) { return mount.type == "btrfs"; }

/// The device of a mount. Where there may be several the mount's number is none of theirs, but its source is one.
std::optional<dev_t> DeviceOf(const Mount& mount) {
  if (mount.major != 0) return makedev(mount.major, mount.minor);
  struct stat state;
  // Any text is a source: this one could lead anywhere.
  const bool is_told =
      IsBtrfs(mount) && mount.source.starts_with("/dev/") && mount.source.find("/../") == std::string::npos;
  if (!is_told || stat(mount.source.c_str(), &state) != 0 || !S_ISBLK(state.st_mode)) return std::nullopt;
  return state.st_rdev;
}

unsigned int AttributesOf(const Mount& mount, int loops) {
  if (NetworkFileSystemID(mount)) return 0;
  const std::optional<dev_t> device = DeviceOf(mount);
  // Memory, and what is made of other file systems.
  if (!device) return kVolumeIsOnInternalBus;
  const auto of_file = [loops](const std::string& path) -> std::optional<unsigned int> {
    const std::optional<Volume> volume = loops > 0 ? FindVolume(path.c_str()) : std::nullopt;
    if (!volume) return std::nullopt;
    return AttributesOf(volume->mount, loops - 1);
  };
  return IsBtrfs(mount) ? BtrfsAttributes(*device, of_file) : BlockDeviceAttributes(*device, of_file);
}

bool IsFolder(const std::string& path) {
  struct stat state;
  return stat(path.c_str(), &state) == 0 && S_ISDIR(state.st_mode);
}

}  // namespace

unsigned int MountAttributes(const Mount& mount) { return AttributesOf(mount, kMostLoops); }

std::string MountFileSystemName(const Mount& mount) {
  const std::optional<dev_t> device = mount.type == "vfat" || mount.type == "msdos" ? DeviceOf(mount) : std::nullopt;
  std::string version = device ? FileSystemVersion(*device) : std::string();
  return version.starts_with("FAT") ? version : mount.type;
}

std::string MountedDrivesFolderOf(const std::string& root, const std::string& login) {
  const bool is_name = !login.empty() && login.find('/') == std::string::npos && login != "." && login != "..";
  for (const char* parent : {"/run/media/", "/media/"}) {
    std::string folder = root + parent;
    folder += login;
    if (is_name && IsFolder(folder)) return folder;
  }
  const std::string for_all = root + "/media";
  return IsFolder(for_all) ? for_all : std::string();
}

unsigned int VolumeAttributes(const char* path) {
  const std::optional<Volume> volume = FindVolume(path);
  return volume ? MountAttributes(volume->mount) : 0;
}

unsigned short VolumeFileSystemID(const char* path) {
  const std::optional<Volume> volume = FindVolume(path);
  if (!volume) return kNoFileSystemID;
  if (const std::optional<unsigned short> network = NetworkFileSystemID(volume->mount)) return *network;
  struct statfs state;
  if (volume->path.empty() || statfs(volume->path.c_str(), &state) != 0) return kNoFileSystemID;
  return static_cast<unsigned short>(state.f_type & 0xFFFF);
}

std::string VolumeFileSystemName(const char* path) {
  const std::optional<Volume> volume = FindVolume(path);
  return volume ? MountFileSystemName(volume->mount) : std::string();
}

std::string VolumeMountPoint(const char* path) {
  const std::optional<Volume> volume = FindVolume(path);
  return volume ? volume->mount.point : std::string();
}

int FindMountedDrivesFolder(std::string* folder) {
  std::string found = MountedDrivesFolderOf("", AccountName());
  if (found.empty()) return ENOENT;
  *folder = std::move(found);
  return 0;
}

}  // namespace platform
