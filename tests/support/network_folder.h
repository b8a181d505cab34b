#pragma once

#include <sys/vfs.h>

#include <algorithm>
#include <iterator>
#include <string>

namespace support {

/// May a folder be on another machine? Of a file system in user space nobody knows.
///
/// What lies below one counts as being there, whatever its name, and links in it are not followed, so that tests of
/// volumes have other answers there: see tillvane/platform/volume.h.
inline bool MayBeOfTheNetwork(const std::string& folder) {
  // 9p, AFS, Ceph, CIFS, SMB, NFS, FUSE with virtiofs.
  constexpr unsigned int magics[] = {0x01021997, 0x5346414F, 0x00C36400, 0xFF534D42, 0xFE534D42, 0x6969, 0x65735546};
  struct statfs state;
  if (statfs(folder.c_str(), &state) != 0) return true;
  const auto magic = static_cast<unsigned int>(state.f_type);
  return std::find(std::begin(magics), std::end(magics), magic) != std::end(magics);
}

}  // namespace support
