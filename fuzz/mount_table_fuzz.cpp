// The kernel's table of mounts, most of whose texts are chosen by whoever mounts, and the way of a path through it.
// Input: a path, the target of every symbolic link, the table.

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <tillvane/platform/linux/mount_table_linux.h>
#include <tillvane/platform/linux/mount_walk_linux.h>

#include "require.h"
#include "texts.h"

namespace {

using fuzz::Require;
using platform::Mount;
using platform::MountTable;

std::string link_target;

/// Every other name is a link.
std::optional<std::string> ReadLink(const std::string& path) {
  if (path.size() % 2 == 0 && !link_target.empty()) return link_target;
  errno = path.size() % 3 == 0 ? ENOENT : EINVAL;
  return std::nullopt;
}

bool IsSame(const Mount& one, const Mount& other) {
  return one.id == other.id && one.parent == other.parent && one.major == other.major && one.minor == other.minor &&
         one.point == other.point && one.type == other.type && one.source == other.source;
}

void CheckLines(const std::string& text, const MountTable& table) {
  std::size_t count = 0;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    const fuzz::Buffer line(text.substr(begin, end - begin));
    for (const Mount& mount : platform::ParseMountTable({line.Get(), end - begin})) {
      Require(count < table.size() && IsSame(mount, table[count]), "a line is read the same alone");
      ++count;
    }
    begin = end + 1;
  }
  Require(count == table.size(), "there are as many mounts as lines tell");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const std::string path = input.Text();
  link_target = input.Text();
  const std::string text = input.Rest();
  const fuzz::Buffer bytes(text);
  const MountTable table = platform::ParseMountTable({bytes.Get(), text.size()});
  CheckLines(text, table);
  for (const Mount& mount : table) {
    Require(mount.point.starts_with('/') && !mount.type.empty(), "a mount has a place and a type");
    Require(platform::FindMount(table, mount.id) != nullptr, "a mount is found by its number");
  }
  const platform::WayToVolume way = platform::FollowPath(table, path, ReadLink);
  Require(way.mount == nullptr || way.path.empty(), "the kernel is not asked about what the table tells");
  Require(way.mount == nullptr || (way.mount >= table.data() && way.mount < table.data() + table.size()),
          "the mount is one of the table's");
  return 0;
}
