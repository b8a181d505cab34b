#include <tillvane/platform/linux/mount_walk_linux.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>
#include <vector>

#include <tillvane/platform/linux/network_mount_linux.h>

namespace platform {

namespace {

/// As many as the kernel follows.
constexpr int kMostLinks = 40;

class Walk {
 public:
  Walk(const MountTable& table, LinkReader read_link) : table_(table), read_link_(read_link) { GoToRoot(); }

  /// \return false when nothing is there
  bool Follow(std::string path) {
    int links = 0;
    std::string_view rest = path;
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find('/'), rest.size());
      const std::string_view name = rest.substr(0, end);
      rest.remove_prefix(std::min(end + 1, rest.size()));
      if (name.empty() || name == ".") continue;
      if (name == "..") {
        GoUp();
        continue;
      }
      GoDown(name);
      if (IsKnownToBeAFolder()) continue;
      const std::optional<std::string> target = read_link_(PathHere());
      if (!target && errno == EINVAL) continue;
      if (!target || ++links > kMostLinks) return false;
      path = *target + '/' + std::string(rest);
      rest = path;
      if (target->starts_with('/')) {
        GoToRoot();
      } else {
        GoUp();
      }
    }
    return true;
  }

  bool IsInNetwork() const { return steps_.back().is_in_network; }
  bool WasInNetwork() const { return was_in_network_; }
  const Mount* MountHere() const { return steps_.back().mount; }

  std::string PathHere() const {
    std::string path;
    for (std::size_t i = 1; i < steps_.size(); ++i) path += '/' + steps_[i].name;
    return path.empty() ? "/" : path;
  }

 private:
  /// A folder on the way, the root first.
  struct Step {
    std::string name;
    const Mount* mount;  ///< null for one that the table does not tell
    bool is_in_network;  ///< it, or one before it
    bool is_mount_point;
  };

  void GoToRoot() {
    steps_.clear();
    AddStep("", nullptr, false);
  }

  void GoUp() {
    if (steps_.size() > 1) steps_.pop_back();
  }

  void GoDown(std::string_view name) { AddStep(std::string(name), steps_.back().mount, steps_.back().is_in_network); }

  void AddStep(std::string name, const Mount* mount, bool is_in_network) {
    steps_.push_back({std::move(name), mount, is_in_network, false});
    Step& step = steps_.back();
    const std::string point = PathHere();
    // Mounts stand on one another; a table that is not the kernel's might let them do so in a circle.
    for (std::size_t i = 0; i < table_.size(); ++i) {
      const Mount* next = MountOn(step.mount, point);
      if (next == nullptr) break;
      step.mount = next;
      step.is_mount_point = true;
      step.is_in_network = step.is_in_network || NetworkFileSystemID(*next);
    }
    was_in_network_ = was_in_network_ || step.is_in_network;
  }

  /// What is mounted at a place of this mount. A mount at the same place of another one is hidden.
  const Mount* MountOn(const Mount* parent, const std::string& point) const {
    const auto found = std::find_if(table_.begin(), table_.end(), [&](const Mount& mount) {
      return mount.point == point && &mount != parent && StandsOn(mount, parent);
    });
    return found != table_.end() ? &*found : nullptr;
  }

  bool StandsOn(const Mount& mount, const Mount* parent) const {
    if (parent != nullptr) return mount.parent == parent->id;
    // The first root stands on itself, or on what this process does not see.
    return mount.parent == mount.id || FindMount(table_, mount.parent) == nullptr;
  }

  bool IsKnownToBeAFolder() const { return steps_.back().is_in_network || steps_.back().is_mount_point; }

  const MountTable& table_;
  LinkReader read_link_;
  std::vector<Step> steps_;
  bool was_in_network_ = false;
};

}  // namespace

bool HasNetworkMount(const MountTable& table) {
  return std::any_of(table.begin(), table.end(), [](const Mount& mount) { return NetworkFileSystemID(mount); });
}

WayToVolume FollowPath(const MountTable& table, const std::string& path, LinkReader read_link) {
  // Mostly there is none, and the kernel follows a path best.
  if (!path.starts_with('/') || !HasNetworkMount(table)) return {nullptr, path};
  Walk walk(table, read_link);
  const bool is_there = walk.Follow(path);
  // The kernel's own way may differ where a link is none of text (/proc/self/fd); it has the last word on what fails.
  if (!walk.WasInNetwork()) return {nullptr, path};
  if (!is_there) return {};
  if (walk.IsInNetwork()) return {walk.MountHere(), {}};
  return {nullptr, walk.PathHere()};
}

}  // namespace platform
