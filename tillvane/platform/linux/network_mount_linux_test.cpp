#include <tillvane/platform/linux/network_mount_linux.h>

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(NetworkMount, IsToldByTypeAndSource) {
  const struct {
    std::string type, source;
    unsigned int major;
    int id;  // -1 for a local one
  } cases[] = {
      {"nfs", "server:/export", 0, 0x6969},
      {"nfs4", "server:/export", 0, 0x6969},
      {"cifs", "//server/share", 0, 0x4D42},
      {"smb3", "//server/share", 0, 0x4D42},
      {"9p", "hostshare", 0, 0x1997},
      {"ceph", "10.0.0.1:6789:/", 0, 0x6400},
      {"afs", "#root.cell", 0, 0x4653},
      {"virtiofs", "tag", 0, 0x5546},
      {"fuse.sshfs", "me@server:", 0, 0x4A48},
      {"fuse.sshfs", "anything", 0, 0x4A48},
      {"fuse.rclone", "cloud{x}", 0, 0x4A48},
      {"fuse.glusterfs", "server:/volume", 0, 0x4A48},
      {"fuse.gvfsd-fuse", "gvfsd-fuse", 0, 0x6375},
      {"fuse.gvfs-fuse-daemon", "x", 0, 0x6375},
      // One that does not say what it is, and those that nobody knows but by what they bring.
      {"fuse", "bucket", 0, 0x4A48},
      {"fuse.", "", 0, 0x4A48},
      {"fuse.unheard", "server:/x", 0, 0x4A48},
      {"fuse.unheard", "me@server:", 0, 0x4A48},
      {"fuse.unheard", "https://server/x", 0, 0x4A48},
      {"fuse.unheard", "//server/share", 0, 0x4A48},
      {"fuse.mergerfs", "1:2", 0, -1},
      {"fuse.unheard", "unheard", 0, -1},
      {"fuse.unheard", "/home/me/a:b", 0, -1},
      {"fuse.unheard", ":/x", 0, -1},
      {"fuse.unheard", "", 0, -1},
      {"fuse.portal", "portal", 0, -1},
      {"fuse.Editor-x86_64.AppImage", "Editor-x86_64.AppImage", 0, -1},
      {"fuse.sshfsx", "x", 0, -1},
      {"fuse.sshf", "x", 0, -1},
      {"fuse.gvfsd-fuse2", "x", 0, -1},
      // With a device behind it.
      {"fuse.sshfs", "/dev/sda1", 8, -1},
      {"fuseblk", "/dev/sda1", 8, -1},
      {"fuseblk.ntfs", "/dev/sda1", 8, -1},
      {"ext4", "/dev/sda1", 8, -1},
      {"ext4", "server:/x", 0, -1},
      {"tmpfs", "//server/share", 0, -1},
      {"overlay", "overlay", 0, -1},
      {"nfsd", "nfsd", 0, -1},
      {"NFS", "server:/x", 0, -1},
      {"", "", 0, -1},
  };
  for (const auto& c : cases) {
    platform::Mount mount;
    mount.type = c.type;
    mount.source = c.source;
    mount.major = c.major;
    const auto id = platform::NetworkFileSystemID(mount);
    EXPECT_EQ(id ? *id : -1, c.id) << c.type << ' ' << c.source;
  }
}

}  // namespace
