#include <tillvane/platform/linux/network_mount_linux.h>

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

namespace platform {

namespace {

constexpr unsigned short kNetworkFuse = 0x4A48;
constexpr unsigned short kDesktopShares = 0x6375;

struct KernelFileSystem {
  std::string_view type;
  unsigned long magic;
};

// Their magic numbers stand here because to ask the volume for its own may take for ever.
constexpr KernelFileSystem kKernelFileSystems[] = {
    {"9p", 0x01021997},     {"afs", 0x6B414653},   {"auristorfs", 0x5346414F}, {"beegfs", 0x19830326},
    {"ceph", 0x00C36400},   {"cifs", 0xFF534D42},  {"coda", 0x73757245},       {"gpfs", 0x47504653},
    {"lustre", 0x0BD00BD0}, {"ncp", 0x564C},       {"ncpfs", 0x564C},          {"nfs", 0x6969},
    {"nfs4", 0x6969},       {"panfs", 0xAAD7AAEA}, {"prl_fs", 0x7C7C6673},     {"pvfs2", 0x20030528},
    {"smb3", 0xFE534D42},   {"smbfs", 0x517B},     {"vboxsf", 0x786F4256},     {"virtiofs", 0x65735546},
    {"vmhgfs", 0xBACBACBC},
};

constexpr std::string_view kFuseTypes[] = {
    "afpfs",    "blobfuse", "blobfuse2",   "ceph",     "ceph-fuse", "curlftpfs", "cvmfs2",
    "davfs",    "davfs2",   "fuse_dfs",    "fusesmb",  "gcsfuse",   "glusterfs", "google-drive-ocamlfuse",
    "goofys",   "httpfs",   "httpfs2",     "juicefs",  "kio-fuse",  "lizardfs",  "mfs",
    "mount-s3", "nfs",      "onedriver",   "rclone",   "s3fs",      "seaweedfs", "sftpfs",
    "smbnetfs", "sshfs",    "vmhgfs-fuse", "webdavfs",
};

/// Of local drives, although their sources look like a server's: mergerfs names its own after its branches, '1:2'.
constexpr std::string_view kLocalFuseTypes[] = {"mergerfs", "mhddfs", "unionfs", "unionfs-fuse"};

template <class List, class Matches>
auto FindIn(const List& list, Matches matches) {
  const auto found = std::find_if(std::begin(list), std::end(list), matches);
  return found != std::end(list) ? &*found : nullptr;
}

/// '//server/share', 'scheme://server', 'user@server:/folder'.
bool LooksLikeAServer(std::string_view source) {
  const std::size_t colon = source.find(':');
  return source.starts_with("//") || (colon != source.npos && colon > 0 && source.find('/') > colon);
}

/// \param program the subtype: what the program calls itself that serves the file system
bool IsOfTheNetwork(std::string_view program, std::string_view source) {
  const auto is_program = [program](std::string_view type) { return type == program; };
  if (FindIn(kLocalFuseTypes, is_program) != nullptr) return false;
  // Programs that bring the files of a cloud are those that often have no name.
  return program.empty() || LooksLikeAServer(source) || FindIn(kFuseTypes, is_program) != nullptr;
}

}  // namespace

std::optional<unsigned short> NetworkFileSystemID(const Mount& mount) {
  const std::string_view type = mount.type;
  const auto* kernel = FindIn(kKernelFileSystems, [type](const KernelFileSystem& one) { return one.type == type; });
  if (kernel != nullptr) return static_cast<unsigned short>(kernel->magic & 0xFFFF);
  const bool is_fuse = type == "fuse" || type.starts_with("fuse.");
  // With a device behind it the device tells.
  if (!is_fuse || mount.major != 0) return std::nullopt;
  const std::string_view program = type.substr(std::min(type.size(), sizeof "fuse." - 1));
  if (program == "gvfsd-fuse" || program == "gvfs-fuse-daemon") return kDesktopShares;
  if (IsOfTheNetwork(program, mount.source)) return kNetworkFuse;
  return std::nullopt;
}

}  // namespace platform
