#include <tillvane/platform/linux/block_device_linux.h>

#include <dirent.h>
#include <libudev.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <string_view>
#include <vector>

#include <tillvane/platform/volume.h>

namespace platform {

namespace {

struct Unref {
  void operator()(udev* library) const { udev_unref(library); }
  void operator()(udev_device* device) const { udev_device_unref(device); }
};
using Device = std::unique_ptr<udev_device, Unref>;

/// A device, if it is there, and what it is read with: threads cannot share that, and it costs nothing.
struct Lookup {
  explicit Lookup(dev_t number)
      : library(udev_new()), device(library ? udev_device_new_from_devnum(library.get(), 'b', number) : nullptr) {}

  std::unique_ptr<udev, Unref> library;
  Device device;
};

std::string_view TextOf(const char* text) { return text != nullptr ? text : ""; }

std::string_view Attribute(udev_device* device, const char* name) {
  return TextOf(udev_device_get_sysattr_value(device, name));
}

std::string_view Subsystem(udev_device* device) { return TextOf(udev_device_get_subsystem(device)); }

std::string_view Name(udev_device* device) { return TextOf(udev_device_get_sysname(device)); }

/// 'nvme0' for the prefix 'nvme'.
bool IsNumbered(std::string_view name, std::string_view prefix) {
  return name.starts_with(prefix) && name.size() > prefix.size() &&
         std::isdigit(static_cast<unsigned char>(name[prefix.size()])) != 0;
}

std::vector<std::string> NamesInFolder(const std::string& path) {
  struct Close {
    void operator()(DIR* folder) const { closedir(folder); }
  };
  std::vector<std::string> names;
  const std::unique_ptr<DIR, Close> folder(opendir(path.c_str()));
  while (const dirent* entry = folder ? readdir(folder.get()) : nullptr) {
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  }
  return names;
}

// --- The bus of one disk ---

udev_device* UsbParent(udev_device* device) {
  return udev_device_get_parent_with_subsystem_devtype(device, "usb", "usb_device");
}

/// A device on a USB bus that can be unplugged. The hub that is the bus itself has no such parent, and counts as none.
bool IsPluggedIntoUsb(udev_device* device) {
  return Subsystem(device) == "usb" && TextOf(udev_device_get_devtype(device)) == "usb_device" &&
         UsbParent(device) != nullptr && Attribute(device, "removable") != "fixed";
}

/// Thunderbolt, USB4 and card slots are told by the kernel as PCI devices that can be removed.
bool IsPluggedIntoPci(udev_device* device) {
  return Subsystem(device) == "pci" && Attribute(device, "removable") == "removable";
}

/// A disk of another machine counts as one on an external bus.
bool IsReachedOverNetwork(udev_device* device) {
  const std::string_view name = Name(device);
  const bool is_iscsi = IsNumbered(name, "session");
  const bool is_block = Subsystem(device) == "block" &&
                        (IsNumbered(name, "nbd") || IsNumbered(name, "rbd") || name.starts_with("etherd!"));
  return is_iscsi || is_block || Subsystem(device) == "nvme-fabrics";
}

bool HasExternalControllers(udev_device* subsystem);

bool IsOnExternalBus(udev_device* device) {
  for (; device != nullptr; device = udev_device_get_parent(device)) {
    if (IsPluggedIntoUsb(device) || IsPluggedIntoPci(device) || IsReachedOverNetwork(device) ||
        Subsystem(device) == "firewire" || (Subsystem(device) == "nvme-subsystem" && HasExternalControllers(device))) {
      return true;
    }
  }
  return false;
}

/// A drive that could have several ways to it hangs on none of them in /sys: they are links beside it.
bool HasExternalControllers(udev_device* subsystem) {
  const std::vector<std::string> names = NamesInFolder(udev_device_get_syspath(subsystem));
  return std::any_of(names.begin(), names.end(), [subsystem](const std::string& name) {
    if (!IsNumbered(name, "nvme")) return false;
    const Device controller(
        udev_device_new_from_subsystem_sysname(udev_device_get_udev(subsystem), "nvme", name.c_str()));
    return controller != nullptr && IsOnExternalBus(controller.get());
  });
}

/// The kernel calls the disk removable, but for memory cards: there the card is the disk.
bool HasRemovableMedium(udev_device* disk) {
  if (Attribute(disk, "removable") == "1") return true;
  udev_device* card = udev_device_get_parent_with_subsystem_devtype(disk, "mmc", nullptr);
  return card != nullptr && Attribute(card, "type").starts_with("SD");
}

unsigned int DiskAttributes(udev_device* disk) {
  return (IsOnExternalBus(disk) ? kVolumeIsOnExternalBus : kVolumeIsOnInternalBus) |
         (HasRemovableMedium(disk) ? kVolumeIsRemovable : 0);
}

// --- From what is mounted to the disks ---

/// The attributes of all the disks of one volume together.
class Together {
 public:
  void Add(unsigned int attributes) {
    together_ |= attributes;
    is_internal_ = is_internal_ && (attributes & kVolumeIsOnInternalBus) != 0;
  }

  unsigned int Attributes() const { return is_internal_ ? together_ : together_ & ~kVolumeIsOnInternalBus; }

 private:
  unsigned int together_ = 0;
  bool is_internal_ = true;
};

/// Layers below which no disk is looked for.
constexpr int kMostLayers = 16;

class Follower {
 public:
  explicit Follower(const FileAttributesQuery& of_file) : of_file_(of_file) {}

  unsigned int Follow(udev_device* device, int layers) const {
    udev_device* partitioned = udev_device_get_parent_with_subsystem_devtype(device, "block", "disk");
    udev_device* disk = partitioned != nullptr ? partitioned : device;
    // What no layer tells more about is a disk, and one without a bus that is told is inside the machine.
    const std::vector<std::string> below =
        layers > 0 ? NamesInFolder(udev_device_get_syspath(disk) + std::string("/slaves")) : std::vector<std::string>();
    if (!below.empty()) return FollowAll(udev_device_get_udev(disk), below, layers - 1);
    const std::string file(Attribute(disk, "loop/backing_file"));
    const std::optional<unsigned int> of_file = file.empty() ? std::nullopt : of_file_(file);
    return of_file.value_or(DiskAttributes(disk));
  }

  unsigned int FollowAll(udev* library, const std::vector<std::string>& names, int layers) const {
    Together together;
    for (const std::string& name : names) {
      const Device device(udev_device_new_from_subsystem_sysname(library, "block", name.c_str()));
      together.Add(device ? Follow(device.get(), layers) : kVolumeIsOnInternalBus);
    }
    return together.Attributes();
  }

 private:
  const FileAttributesQuery& of_file_;
};

}  // namespace

unsigned int BlockDeviceAttributes(dev_t device, const FileAttributesQuery& of_file) {
  const Lookup found(device);
  // A sandbox may hide /sys. What is mounted is in this machine all the same.
  return found.device ? Follower(of_file).Follow(found.device.get(), kMostLayers) : kVolumeIsOnInternalBus;
}

unsigned int BtrfsAttributes(dev_t device, const FileAttributesQuery& of_file) {
  const Lookup found(device);
  const std::string volumes = "/sys/fs/btrfs/";
  for (const std::string& volume : NamesInFolder(volumes)) {
    const std::vector<std::string> names = NamesInFolder(volumes + volume + "/devices");
    if (found.device && std::find(names.begin(), names.end(), Name(found.device.get())) != names.end()) {
      return Follower(of_file).FollowAll(found.library.get(), names, kMostLayers);
    }
  }
  return BlockDeviceAttributes(device, of_file);
}

std::string FileSystemVersion(dev_t device) {
  const Lookup found(device);
  return std::string(found.device ? TextOf(udev_device_get_property_value(found.device.get(), "ID_FS_VERSION")) : "");
}

}  // namespace platform
