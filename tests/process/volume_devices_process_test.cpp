// Drives of all kinds, as umockdev shows them to a child: see volume_child.cpp.

#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/temp_folder.h>

namespace {

using support::ProcessResult;
using support::RunProcess;

constexpr unsigned int kEndMs = 60000;

// Numbers that no real drive has, so that the machine's own database of devices says nothing about them.
constexpr int kMajor = 4000;

/// Devices as umockdev describes them.
class Machine {
 public:
  /// A device that is no disk, with its attributes: "removable=fixed".
  Machine& Add(const std::string& path, const std::string& subsystem, const std::vector<std::string>& attributes = {},
               const std::string& type = "") {
    text_ += "P: " + path + '\n';
    text_ += "E: SUBSYSTEM=" + subsystem + '\n';
    if (!type.empty()) text_ += "E: DEVTYPE=" + type + '\n';
    for (const std::string& attribute : attributes) text_ += "A: " + attribute + '\n';
    text_ += '\n';
    return *this;
  }

  Machine& AddUsb(const std::string& path, const std::string& removable) {
    return Add(path, "usb", {"removable=" + removable}, "usb_device");
  }

  /// \param path with a folder "block", by which umockdev knows what this is; the kernel leaves it out for NVMe
  /// \param lines further ones of the description
  Machine& AddDisk(const std::string& path, int minor, const std::vector<std::string>& lines = {"A: removable=0"}) {
    return AddBlock(path, minor, "disk", lines);
  }

  Machine& AddPartition(const std::string& path, int minor, const std::vector<std::string>& lines = {}) {
    return AddBlock(path, minor, "partition", lines);
  }

  const std::string& Text() const { return text_; }

 private:
  Machine& AddBlock(const std::string& path, int minor, const std::string& type,
                    const std::vector<std::string>& lines) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::string number = std::to_string(minor);
    text_ += "P: " + path + "\nN: " + name + "\nE: DEVNAME=/dev/" + name + "\nE: DEVTYPE=" + type +
             "\nE: MAJOR=" + std::to_string(kMajor) + "\nE: MINOR=" + number +
             "\nE: SUBSYSTEM=block\nA: dev=" + std::to_string(kMajor) + ':' + number + '\n';
    for (const std::string& line : lines) text_ += line.empty() ? "" : line + '\n';
    text_ += '\n';
    return *this;
  }

  std::string text_;
};

const std::string kPci = "/devices/pci0000:00/0000:00:1d.0";
const std::string kUsbBus = kPci + "/usb2";
const std::string kInternal = "200000", kInternalRemovable = "2200000", kExternal = "8000000",
                  kExternalRemovable = "a000000";

/// A machine with a USB bus.
Machine WithUsb() { return Machine().Add(kPci, "pci").AddUsb(kUsbBus, "unknown"); }

/// A machine with a controller that hangs on a bridge to the outside: Thunderbolt, or a slot for cards.
Machine WithTunnel() { return Machine().Add(kPci, "pci").Add(kPci + "/0000:01:00.0", "pci", {"removable=removable"}); }

class VolumeDevices : public testing::Test {
 protected:
  void SetUp() override {
    if (RunProcess({"/usr/bin/env", "umockdev-run", "--version"}, kEndMs).exit_code != 0) {
      GTEST_SKIP() << "umockdev is not installed";
    }
  }

  std::string Ask(const Machine& machine, const std::vector<std::string>& commands) {
    std::vector<std::string> command = {"/usr/bin/env", "umockdev-run",
                                        "--device=" + folder_.Write("machine", machine.Text()), "--",
                                        TILLVANE_TEST_HELPER};
    command.insert(command.end(), commands.begin(), commands.end());
    // What umockdev preloads stands before the sanitizer's own, which does not matter here.
    const ProcessResult result = RunProcess(command, kEndMs, {"ASAN_OPTIONS=verify_asan_link_order=0"});
    EXPECT_EQ(result.errors, "");
    return result.output;
  }

  /// \return attributes and the kind of FAT file system, in one line for each device
  std::string AskDevices(const Machine& machine, const std::vector<int>& minors) {
    std::vector<std::string> commands;
    for (const int minor : minors) {
      commands.insert(commands.end(), {"device", std::to_string(kMajor), std::to_string(minor)});
    }
    return Ask(machine, commands);
  }

  const support::TempFolder folder_;
};

TEST_F(VolumeDevices, EveryKindOfDrive) {
  const std::vector<std::string> stays = {"A: removable=0"}, goes = {"A: removable=1"};
  const std::string scsi = "/host6/target6:0:0/6:0:0:0", usb = kUsbBus + "/2-1";
  const struct {
    const char* what;
    Machine machine;
    std::string attributes;
  } cases[] = {
      {"SATA disk", Machine().Add(kPci, "pci").AddDisk(kPci + "/ata1" + scsi + "/block/sda", 1), kInternal},
      {"optical drive", Machine().Add(kPci, "pci").AddDisk(kPci + "/ata1" + scsi + "/block/sr0", 1, goes),
       kInternalRemovable},
      {"NVMe",
       Machine().Add(kPci, "pci").Add(kPci + "/nvme/nvme0", "nvme").AddDisk(kPci + "/nvme/nvme0/block/nvme0n1", 1),
       kInternal},
      {"NVMe on a PCI port that says it is fixed",
       Machine()
           .Add(kPci, "pci", {"removable=fixed"})
           .Add(kPci + "/nvme/nvme0", "nvme")
           .AddDisk(kPci + "/nvme/nvme0/block/nvme0n1", 1),
       kInternal},
      {"virtio", Machine().Add(kPci, "pci").Add(kPci + "/virtio1", "virtio").AddDisk(kPci + "/virtio1/block/vda", 1),
       kInternal},
      {"USB disk", WithUsb().AddUsb(usb, "removable").AddDisk(usb + "/2-1:1.0" + scsi + "/block/sdb", 1), kExternal},
      {"USB stick", WithUsb().AddUsb(usb, "removable").AddDisk(usb + "/2-1:1.0" + scsi + "/block/sdb", 1, goes),
       kExternalRemovable},
      {"USB at a port that does not say", WithUsb().AddUsb(usb, "unknown").AddDisk(usb + "/block/sdb", 1), kExternal},
      {"card reader that is built in", WithUsb().AddUsb(usb, "fixed").AddDisk(usb + "/block/sdb", 1, goes),
       kInternalRemovable},
      {"card reader built into a hub that is not",
       WithUsb().AddUsb(usb, "removable").AddUsb(usb + "/2-1.4", "fixed").AddDisk(usb + "/2-1.4/block/sdb", 1, goes),
       kExternalRemovable},
      {"Thunderbolt NVMe",
       WithTunnel()
           .Add(kPci + "/0000:01:00.0/nvme/nvme1", "nvme")
           .AddDisk(kPci + "/0000:01:00.0/nvme/nvme1/block/nvme1n1", 1),
       kExternal},
      {"Thunderbolt SATA", WithTunnel().AddDisk(kPci + "/0000:01:00.0/ata9" + scsi + "/block/sdc", 1), kExternal},
      {"NVMe of several controllers, all inside",
       Machine()
           .Add(kPci, "pci")
           .Add(kPci + "/nvme/nvme0", "nvme")
           .Add("/devices/virtual/nvme-subsystem/nvme-subsys0", "nvme-subsystem", {"model=x"})
           .AddDisk("/devices/virtual/nvme-subsystem/nvme-subsys0/block/nvme0n1", 1),
       kInternal},
      {"SD card",
       Machine()
           .Add(kPci, "pci")
           .Add(kPci + "/mmc_host/mmc0/mmc0:0001", "mmc", {"type=SD"})
           .AddDisk(kPci + "/mmc_host/mmc0/mmc0:0001/block/mmcblk0", 1),
       kInternalRemovable},
      {"eMMC",
       Machine()
           .Add(kPci, "pci")
           .Add(kPci + "/mmc_host/mmc0/mmc0:0001", "mmc", {"type=MMC"})
           .AddDisk(kPci + "/mmc_host/mmc0/mmc0:0001/block/mmcblk0", 1),
       kInternal},
      {"FireWire", Machine().Add(kPci, "pci").Add(kPci + "/fw1", "firewire").AddDisk(kPci + "/fw1/block/sdd", 1),
       kExternal},
      {"iSCSI",
       Machine()
           .Add("/devices/platform/host9/session1", "iscsi")
           .AddDisk("/devices/platform/host9/session1/target9:0:0/9:0:0:0/block/sde", 1),
       kExternal},
      {"NVMe over a network",
       Machine()
           .Add("/devices/virtual/nvme-fabrics/ctl", "nvme-fabrics")
           .AddDisk("/devices/virtual/nvme-fabrics/ctl/nvme3/block/nvme3n1", 1),
       kExternal},
      {"network block device", Machine().AddDisk("/devices/virtual/block/nbd0", 1, stays), kExternal},
      {"memory", Machine().AddDisk("/devices/virtual/block/zram0", 1, stays), kInternal},
      {"floppy disk", Machine().AddDisk("/devices/platform/floppy.0/block/fd0", 1, goes), kInternalRemovable},
      {"disk without attributes", Machine().AddDisk("/devices/virtual/block/x0", 1, {}), kInternal},
  };
  for (const auto& c : cases) EXPECT_EQ(AskDevices(c.machine, {1}), c.attributes + " vfat\n") << c.what;
}

TEST_F(VolumeDevices, AnNvmeDriveIsWhereOneOfItsControllersIs) {
  const std::string subsystem = "/devices/virtual/nvme-subsystem/nvme-subsys1";
  const std::string controller = kPci + "/0000:01:00.0/nvme/nvme1";
  for (const bool is_tunnel : {true, false}) {
    Machine machine = is_tunnel ? WithTunnel() : Machine().Add(kPci, "pci").Add(kPci + "/0000:01:00.0", "pci");
    machine.Add(controller, "nvme").Add(subsystem, "nvme-subsystem", {"nvme1=", "nvmeless=", "iopolicy=numa"});
    machine.AddDisk(subsystem + "/block/nvme1n1", 1);
    EXPECT_EQ(AskDevices(machine, {1}), (is_tunnel ? kExternal : kInternal) + " vfat\n");
  }
}

TEST_F(VolumeDevices, APartitionIsItsDisksAndHasAFileSystemOfItsOwn) {
  const std::string disk = kUsbBus + "/2-1/block/sdb";
  Machine machine = WithUsb().AddUsb(kUsbBus + "/2-1", "removable").AddDisk(disk, 1, {"A: removable=1"});
  machine.AddPartition(disk + "/sdb1", 2, {"E: ID_FS_TYPE=vfat", "E: ID_FS_VERSION=FAT12"});
  machine.AddPartition(disk + "/sdb2", 3, {"E: ID_FS_TYPE=vfat", "E: ID_FS_VERSION=FAT16"});
  machine.AddPartition(disk + "/sdb3", 4, {"E: ID_FS_TYPE=vfat", "E: ID_FS_VERSION=FAT32"});
  machine.AddPartition(disk + "/sdb4", 5, {"E: ID_FS_TYPE=vfat"});
  machine.AddPartition(disk + "/sdb5", 6, {"E: ID_FS_TYPE=exfat", "E: ID_FS_VERSION=1.0"});
  std::string answers;
  for (const char* kind : {"vfat", "FAT12", "FAT16", "FAT32", "vfat", "vfat"}) {
    answers += kExternalRemovable + ' ' + kind + '\n';
  }
  EXPECT_EQ(AskDevices(machine, {1, 2, 3, 4, 5, 6}), answers);
}

/// A SATA disk sda (1) with a partition sda1 (2), a USB stick sdb (3) with sdb1 (4).
/// \param of_sdb1 a line of its description
Machine WithTwoDisks(const std::string& of_sdb1 = "") {
  Machine machine = WithUsb().AddUsb(kUsbBus + "/2-1", "removable").Add("/devices/pci0000:00/0000:00:17.0", "pci");
  machine.AddDisk("/devices/pci0000:00/0000:00:17.0/ata1/block/sda", 1);
  machine.AddPartition("/devices/pci0000:00/0000:00:17.0/ata1/block/sda/sda1", 2);
  machine.AddDisk(kUsbBus + "/2-1/block/sdb", 3, {"A: removable=1"});
  machine.AddPartition(kUsbBus + "/2-1/block/sdb/sdb1", 4, {of_sdb1});
  return machine;
}

TEST_F(VolumeDevices, LayersAreFollowedToTheDisks) {
  Machine machine = WithTwoDisks();
  const std::string virtual_block = "/devices/virtual/block/";
  // Encryption on a partition of the stick, a logical volume on that, and a partition of this.
  machine.AddDisk(virtual_block + "dm-0", 10, {"A: slaves/sdb1="});
  machine.AddDisk(virtual_block + "dm-1", 11, {"A: slaves/dm-0="});
  machine.AddPartition(virtual_block + "dm-1/dm-1p1", 12);
  // RAID on both, on one of them, and on nothing that is there.
  machine.AddDisk(virtual_block + "md0", 13, {"A: slaves/sda1=", "A: slaves/sdb1="});
  machine.AddDisk(virtual_block + "md1", 14, {"A: slaves/sda1="});
  machine.AddDisk(virtual_block + "md2", 15, {"A: slaves/sdz1="});
  // One that stands on itself.
  machine.AddDisk(virtual_block + "md3", 16, {"A: slaves/md3="});
  std::string answers;
  for (const std::string& attributes : {kExternalRemovable, kExternalRemovable, kExternalRemovable, kExternalRemovable,
                                        kInternal, kInternal, kInternal}) {
    answers += attributes + " vfat\n";
  }
  EXPECT_EQ(AskDevices(machine, {10, 11, 12, 13, 14, 15, 16}), answers);
}

TEST_F(VolumeDevices, ALoopDeviceIsWhereItsFileIs) {
  Machine machine;
  machine.AddDisk("/devices/virtual/block/loop0", 1, {"A: removable=1", "A: loop/backing_file=/proc/version"});
  machine.AddPartition("/devices/virtual/block/loop0/loop0p1", 2);
  // What is not found by its name is what the device says.
  machine.AddDisk("/devices/virtual/block/loop1", 3, {"A: removable=1", "A: loop/backing_file=/nowhere (deleted)"});
  machine.AddDisk("/devices/virtual/block/loop2", 4, {"A: removable=0", "A: loop/backing_file="});
  const std::string internal = kInternal + " vfat\n", removable = kInternalRemovable + " vfat\n";
  EXPECT_EQ(AskDevices(machine, {1, 2, 3, 4}), internal + internal + removable + internal);
}

TEST_F(VolumeDevices, ABtrfsVolumeIsOnAllItsDevices) {
  Machine machine = WithTwoDisks();
  EXPECT_EQ(Ask(machine, {"btrfs", "/dev/sda1", "btrfs", "/dev/sdb1"}), kInternal + '\n' + kExternalRemovable + '\n');
  machine.Add("/devices/x", "x",
              {"../../fs/btrfs/11111111-2222/devices/sda1=", "../../fs/btrfs/11111111-2222/devices/sdb1=",
               "../../fs/btrfs/33333333-4444/devices/sda="});
  EXPECT_EQ(Ask(machine, {"btrfs", "/dev/sda1", "btrfs", "/dev/sdb1", "btrfs", "/dev/sda"}),
            kExternalRemovable + '\n' + kExternalRemovable + '\n' + kInternal + '\n');
}

/// The number of the mount on which the child's questions are, under which the machine tells of another one.
std::string MountNumberOfRoot() {
  struct statx state {};
  EXPECT_EQ(statx(AT_FDCWD, "/", 0, STATX_MNT_ID, &state), 0);
  return std::to_string(state.stx_mnt_id);
}

TEST_F(VolumeDevices, WhatIsToldOfAVolumeOnThem) {
  const std::string stick = std::to_string(kMajor) + ":4 / / rw - ", disk = std::to_string(kMajor) + ":2 / / rw - ";
  const std::string none = "0:99 / / rw - ";
  const struct {
    std::string mount, version, answers;
  } cases[] = {
      {disk + "ext4 /dev/sda1 rw", "1.0", "200000 local limit 2"},
      {stick + "vfat /dev/sdb1 rw", "FAT12", "a000000 external removable local limit 0"},
      {stick + "vfat /dev/sdb1 rw", "FAT16", "a000000 external removable local limit 0"},
      {stick + "vfat /dev/sdb1 rw", "FAT32", "a000000 external removable local limit 1"},
      {stick + "msdos /dev/sdb1 rw", "FAT16", "a000000 external removable local limit 0"},
      {stick + "vfat /dev/sdb1 rw", "", "a000000 external removable local limit 2"},
      {stick + "exfat /dev/sdb1 rw", "1.0", "a000000 external removable local limit 2"},
      {stick + "fuseblk /dev/sdb1 rw", "", "a000000 external removable local limit 2"},
      {stick + "ext4 /dev/sdb1 rw", "FAT32", "a000000 external removable local limit 2"},
      {none + "btrfs /dev/sdb1 rw", "", "a000000 external removable local limit 2"},
      {none + "overlay overlay rw", "", "200000 local limit 2"},
      {none + "nfs4 server:/ rw", "", "0 external removable network limit 2"},
      {none + "fuse.sshfs server:/ rw", "", "0 external removable network limit 2"},
      {none + "fuse.gvfsd-fuse gvfsd-fuse rw", "", "0 external removable network limit 2"},
  };
  const std::string root = MountNumberOfRoot();
  for (const auto& c : cases) {
    Machine machine = WithTwoDisks("E: ID_FS_VERSION=" + c.version);
    machine.Add("/devices/x", "x", {"../../../proc/thread-self/mountinfo=" + root + " 0 " + c.mount});
    std::string answers = Ask(machine, {"ask", "/"});
    const std::size_t id = answers.find(" id "), limit = answers.find(" limit ");
    ASSERT_NE(limit, std::string::npos) << answers;
    EXPECT_EQ(answers.erase(id, limit - id), c.answers + " drive /\n") << c.mount << ' ' << c.version;
  }
}

TEST_F(VolumeDevices, WithoutAMountTableNothingIsKnown) {
  for (const std::string table : {"", "nonsense", "4294967295 0 0:99 / / rw - tmpfs tmpfs rw"}) {
    Machine machine;
    machine.Add("/devices/x", "x", {"../../../proc/thread-self/mountinfo=" + table});
    EXPECT_EQ(Ask(machine, {"ask", "/"}), "0 external removable network local id ffff limit 2 drive /\n") << table;
  }
}

}  // namespace
