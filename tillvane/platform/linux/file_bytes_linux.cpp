#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include <tillvane/platform/file_object.h>
#include <tillvane/platform/posix/file_bytes_posix.h>

namespace platform {

namespace {

ssize_t ByCopyFileRange(int from, int to, std::size_t size) {
  return copy_file_range(from, nullptr, to, nullptr, size, 0);
}

ssize_t BySendfile(int from, int to, std::size_t size) { return sendfile(to, from, nullptr, size); }

/// Does an error mean that the system will not do it by itself with these two files? It may be that they are on
/// different file systems, that theirs cannot, or (EPERM, ENOSYS) that a container forbids the call.
bool IsRefusal(int error) {
  return error == EXDEV || error == EINVAL || error == EOPNOTSUPP || error == EIO || error == ENOSYS || error == EPERM;
}

/// \return how many bytes, 0 at the source's end, -1 with errno
ssize_t CopySome(int from, int to, std::size_t size) {
  ssize_t copied = 0;
  for (const auto copy : {ByCopyFileRange, BySendfile, CopyThroughMemory}) {
    do {
      copied = copy(from, to, size);
    } while (copied < 0 && errno == EINTR);
    // Nothing copied is the end, or a file that the system makes up as it is read.
    if (copied > 0 || (copied < 0 && !IsRefusal(errno))) break;
  }
  return copied;
}

unsigned long CopyWithoutHoles(int from, int to, unsigned long size) { return CopyInSteps(&CopySome, from, to, size); }

/// Where the next bytes are; `end`, or the file's own end, when there are none before it.
off_t NextData(int file, off_t at, off_t end) {
  off_t data = lseek(file, at, SEEK_DATA);
  if (data < 0) {
    // A file system that cannot tell has no holes.
    if (errno != ENXIO) return at;
    data = lseek(file, 0, SEEK_END);
  }
  return std::clamp(data, at, end);
}

off_t NextHole(int file, off_t at, off_t end) {
  const off_t hole = lseek(file, at, SEEK_HOLE);
  return hole >= 0 ? std::min(hole, end) : end;
}

/// Leaves a hole behind a file's end, also when nothing is written behind it.
bool MakeHole(int file, off_t end) { return ftruncate(file, end) == 0 && lseek(file, end, SEEK_SET) >= 0; }

unsigned long CopyWithHoles(int from, int to, unsigned long size) {
  const off_t begin = lseek(from, 0, SEEK_CUR);
  if (begin < 0) return 0;
  const off_t end = begin + static_cast<off_t>(size);
  off_t at = begin;
  while (at < end) {
    const off_t data = NextData(from, at, end);
    if (data > at && !MakeHole(to, data)) break;
    // Looking for a hole moves the file.
    const off_t hole = NextHole(from, data, end);
    if (lseek(from, data, SEEK_SET) < 0) break;
    const auto wanted = static_cast<unsigned long>(hole - data);
    const unsigned long copied = CopyWithoutHoles(from, to, wanted);
    at = data + static_cast<off_t>(copied);
    if (copied < wanted) break;
  }
  return static_cast<unsigned long>(at - begin);
}

}  // namespace

bool MayHaveHoles(int file) {
  constexpr long block = 512;
  struct stat status;
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_blocks < status.st_size / block;
}

unsigned long CopyBytes(int from, int to, unsigned long size, Holes holes) {
  return holes == Holes::kKept ? CopyWithHoles(from, to, size) : CopyWithoutHoles(from, to, size);
}

}  // namespace platform
