#include <tests/support/open_descriptors.h>

#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace support {

OpenDescriptors ListOpenDescriptors() {
  DIR* folder = opendir("/proc/self/fd");
  if (folder == nullptr) {
    std::perror("/proc/self/fd");
    std::abort();
  }
  OpenDescriptors descriptors;
  while (const dirent* entry = readdir(folder)) {
    const int descriptor = std::atoi(entry->d_name);
    if (entry->d_name[0] == '.' || descriptor == dirfd(folder)) continue;
    char target[512];
    const ssize_t length = readlinkat(dirfd(folder), entry->d_name, target, sizeof target);
    descriptors[descriptor] = std::string(target, length < 0 ? 0 : static_cast<unsigned long>(length));
  }
  closedir(folder);
  return descriptors;
}

std::string DescribeChanges(const OpenDescriptors& before, const OpenDescriptors& after) {
  std::string changes;
  for (const auto& [descriptor, target] : after) {
    const auto old = before.find(descriptor);
    if (old != before.end() && old->second == target) continue;
    changes += "descriptor " + std::to_string(descriptor) + " was left open: " + target + '\n';
  }
  for (const auto& [descriptor, target] : before) {
    if (after.count(descriptor) != 0) continue;
    changes += "descriptor " + std::to_string(descriptor) + " was closed: " + target + '\n';
  }
  return changes;
}

}  // namespace support
