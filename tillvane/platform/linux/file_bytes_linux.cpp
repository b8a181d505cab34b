#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>

#include <tillvane/platform/file_object.h>

namespace platform {

namespace {

ssize_t ByCopyFileRange(int from, int to, std::size_t size) {
  return copy_file_range(from, nullptr, to, nullptr, size, 0);
}

ssize_t BySendfile(int from, int to, std::size_t size) { return sendfile(to, from, nullptr, size); }

/// \return how many bytes were written; fewer with errno
std::size_t WriteAll(int to, const char* bytes, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const ssize_t written = write(to, bytes + done, size - done);
    // Nothing written without a reason is not tried for ever.
    if (written == 0) errno = EIO;
    if (written == 0 || (written < 0 && errno != EINTR)) break;
    if (written > 0) done += static_cast<std::size_t>(written);
  }
  return done;
}

ssize_t ThroughMemory(int from, int to, std::size_t size) {
  char bytes[32768];
  const ssize_t got = read(from, bytes, std::min(size, sizeof bytes));
  if (got <= 0) return got;
  const auto written = static_cast<ssize_t>(WriteAll(to, bytes, static_cast<std::size_t>(got)));
  if (written == got) return got;
  // Both files stand where the copy ends.
  const int error = errno;
  lseek(from, written - got, SEEK_CUR);
  errno = error;
  return written > 0 ? written : -1;
}

/// \return how many bytes, 0 at the source's end, -1 with errno
ssize_t CopySome(int from, int to, std::size_t size) {
  // Nothing copied may also mean that the system cannot do it with these two: between file systems, for files that it
  // makes up as they are read. Each failure is tried again by simpler means, and the simplest decides.
  ssize_t copied = 0;
  for (const auto copy : {ByCopyFileRange, BySendfile, ThroughMemory}) {
    do {
      copied = copy(from, to, size);
    } while (copied < 0 && errno == EINTR);
    if (copied > 0) break;
  }
  return copied;
}

long CopyWithoutHoles(int from, int to, unsigned long size) {
  // The system takes no range that ends beyond the largest file.
  constexpr unsigned long most_at_once = 1UL << 30;
  unsigned long done = 0;
  while (done < size) {
    const ssize_t copied = CopySome(from, to, std::min(size - done, most_at_once));
    if (copied < 0 && done == 0) return -1;
    if (copied <= 0) break;
    done += static_cast<unsigned long>(copied);
  }
  return static_cast<long>(done);
}

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

long CopyWithHoles(int from, int to, unsigned long size) {
  const off_t begin = lseek(from, 0, SEEK_CUR);
  if (begin < 0) return -1;
  const off_t end = begin + static_cast<off_t>(size);
  off_t at = begin;
  while (at < end) {
    const off_t data = NextData(from, at, end);
    if (data > at && !MakeHole(to, data)) return -1;
    // Looking for a hole moves the file.
    const off_t hole = NextHole(from, data, end);
    if (lseek(from, data, SEEK_SET) < 0) return -1;
    const long copied = CopyWithoutHoles(from, to, static_cast<unsigned long>(hole - data));
    if (copied < 0 && data == begin) return -1;
    const off_t next = data + std::max(copied, 0L);
    if (next == at) break;
    at = next;
  }
  return static_cast<long>(at - begin);
}

}  // namespace

bool MayHaveHoles(int file) {
  constexpr long block = 512;
  struct stat status;
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_blocks < status.st_size / block;
}

long CopyBytes(int from, int to, unsigned long size, Holes holes) {
  return holes == Holes::kKept ? CopyWithHoles(from, to, size) : CopyWithoutHoles(from, to, size);
}

}  // namespace platform
