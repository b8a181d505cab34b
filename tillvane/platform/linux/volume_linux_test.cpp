#include <tillvane/platform/linux/volume_linux.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/network_folder.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/volume.h>

namespace {

using platform::kVolumeIsOnInternalBus;
using platform::Mount;

Mount MountOf(const std::string& type, const std::string& source = "x", unsigned int major = 0,
              unsigned int minor = 0) {
  Mount mount;
  mount.type = type;
  mount.source = source;
  mount.major = major;
  mount.minor = minor;
  return mount;
}

TEST(Volume, WithoutADeviceItIsInternalOrTheNetworks) {
  for (const char* type : {"tmpfs", "overlay", "proc", "zfs", "btrfs", "squashfs", "fuse.portal", "unheard"}) {
    EXPECT_EQ(platform::MountAttributes(MountOf(type)), kVolumeIsOnInternalBus) << type;
  }
  for (const char* type : {"nfs", "cifs", "9p", "fuse.sshfs", "fuse.gvfsd-fuse", "fuse"}) {
    EXPECT_EQ(platform::MountAttributes(MountOf(type)), 0u) << type;
  }
}

TEST(Volume, OnADeviceThatNobodyKnowsItIsInternal) {
  EXPECT_EQ(platform::MountAttributes(MountOf("ext4", "/dev/none", 4095, 1048575)), kVolumeIsOnInternalBus);
}

TEST(Volume, TheSourceOfABtrfsIsADeviceOrNothing) {
  for (const char* source : {"", "/dev/null", "/dev/missing", "/dev/../etc/passwd", "/etc/passwd", "//server/x"}) {
    EXPECT_EQ(platform::MountAttributes(MountOf("btrfs", source)), kVolumeIsOnInternalBus) << source;
  }
}

TEST(Volume, TheFileSystemsNameIsTheMountsType) {
  for (const char* type : {"ext4", "exfat", "ntfs3", "fuseblk", "fuse.sshfs", "vfat", "msdos"}) {
    EXPECT_EQ(platform::MountFileSystemName(MountOf(type)), type);
    EXPECT_EQ(platform::MountFileSystemName(MountOf(type, "/dev/none", 4095, 1048575)), type);
  }
}

// Not by the device, of which a file system may have several.
TEST(Volume, TheMountPointIsInTheMountOfThePath) {
  const support::TempFolder folder;
  for (const std::string& path : {std::string("/"), folder.Path(), folder.Write("file", ""), std::string("/proc")}) {
    const std::string point = platform::VolumeMountPoint(path.c_str());
    struct statx of_path, of_point;
    ASSERT_EQ(statx(AT_FDCWD, path.c_str(), 0, STATX_MNT_ID, &of_path), 0) << path;
    ASSERT_EQ(statx(AT_FDCWD, point.c_str(), 0, STATX_MNT_ID, &of_point), 0) << point;
    EXPECT_EQ(of_point.stx_mnt_id, of_path.stx_mnt_id) << path << " is not in " << point;
  }
}

TEST(Volume, OfProc) {
  const support::TempFolder folder;
  for (const std::string& way : {std::string("/"), folder.Path()}) {
    if (support::MayBeOfTheNetwork(way)) GTEST_SKIP() << "what is below " << way << " is not looked at";
  }
  ASSERT_EQ(symlink("/proc/sys", folder.File("link").c_str()), 0);
  for (const std::string& path : {std::string("/proc"), std::string("/proc/self/status"), folder.File("link"),
                                  folder.File("link/kernel"), folder.Path() + "/../../../../../../../../proc"}) {
    EXPECT_EQ(platform::VolumeAttributes(path.c_str()), kVolumeIsOnInternalBus) << path;
    EXPECT_EQ(platform::VolumeFileSystemID(path.c_str()), 0x9FA0) << path;
    EXPECT_EQ(platform::VolumeFileSystemName(path.c_str()), "proc") << path;
    EXPECT_EQ(platform::VolumeMountPoint(path.c_str()), "/proc") << path;
  }
}

TEST(Volume, ARelativePathStartsInTheCurrentDirectory) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path("/proc");
  EXPECT_EQ(platform::VolumeMountPoint("self"), "/proc");
  EXPECT_EQ(platform::VolumeMountPoint("."), "/proc");
  EXPECT_EQ(platform::VolumeMountPoint(""), "");
  std::filesystem::current_path(before);
}

TEST(Volume, WhatIsNoPartOfTheMountTableIsUnknown) {
  int pipe_ends[2];
  ASSERT_EQ(pipe(pipe_ends), 0);
  const std::string path = "/proc/self/fd/" + std::to_string(pipe_ends[0]);
  EXPECT_EQ(platform::VolumeAttributes(path.c_str()), 0u);
  EXPECT_EQ(platform::VolumeFileSystemID(path.c_str()), platform::kNoFileSystemID);
  EXPECT_EQ(platform::VolumeMountPoint(path.c_str()), "");
  close(pipe_ends[0]);
  close(pipe_ends[1]);
}

TEST(Volume, TheFolderOfMountedDrives) {
  const support::TempFolder root;
  const auto folder_of = [&root](const std::string& login) {
    return platform::MountedDrivesFolderOf(root.Path(), login);
  };
  EXPECT_EQ(folder_of("me"), "");
  root.Write("media", "no folder");
  EXPECT_EQ(folder_of("me"), "");
  std::filesystem::remove(root.File("media"));
  std::filesystem::create_directories(root.File("media"));
  EXPECT_EQ(folder_of("me"), root.File("media"));
  std::filesystem::create_directories(root.File("media/me"));
  EXPECT_EQ(folder_of("me"), root.File("media/me"));
  std::filesystem::create_directories(root.File("run/media/me"));
  EXPECT_EQ(folder_of("me"), root.File("run/media/me"));
  EXPECT_EQ(folder_of("you"), root.File("media"));
  // No such name leads elsewhere.
  for (const char* login : {"", ".", "..", "me/..", "../media/me"}) {
    EXPECT_EQ(folder_of(login), root.File("media")) << login;
  }
}

}  // namespace
