#include <tillvane/platform/posix/file_bytes_posix.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace platform {

namespace {

bool WriteAll(int to, const char* bytes, std::size_t size) {
  for (const char *at = bytes, *const end = bytes + size; at != end;) {
    const ssize_t written = write(to, at, static_cast<std::size_t>(end - at));
    // Nothing written without a reason is not tried for ever.
    if (written == 0) errno = EIO;
    if (written == 0 || (written < 0 && errno != EINTR)) return false;
    if (written > 0) at += written;
  }
  return true;
}

}  // namespace

ssize_t CopyThroughMemory(int from, int to, std::size_t size) {
  char bytes[32768];
  ssize_t got;
  do {
    got = read(from, bytes, std::min(size, sizeof bytes));
  } while (got < 0 && errno == EINTR);
  return got <= 0 || WriteAll(to, bytes, static_cast<std::size_t>(got)) ? got : -1;
}

unsigned long CopyInSteps(CopyStep step, int from, int to, unsigned long size) {
  // The system takes no range that ends beyond the largest file.
  constexpr unsigned long most_at_once = 1UL << 30;
  unsigned long done = 0;
  while (done < size) {
    const ssize_t copied = step(from, to, std::min(size - done, most_at_once));
    if (copied == 0) errno = 0;
    if (copied <= 0) break;
    done += static_cast<unsigned long>(copied);
  }
  return done;
}

}  // namespace platform
