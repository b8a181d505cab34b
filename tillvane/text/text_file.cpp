#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include <tillvane/core/LFileLock.h>
#include <tillvane/text/text_file.h>

namespace text {

namespace {

constexpr unsigned int kReadLockMs = 1000, kWriteLockMs = 500;

// macOS refuses to write more than 2 GiB - 1 at once.
constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;

}  // namespace

TextFile::TextFile(const char* path, int flags, int lock, unsigned int ms)
    : descriptor_(open(path != nullptr ? path : "", flags | O_CLOEXEC, 0666)) {
  const int error = errno;
  flocktimed(descriptor_, lock | LOCK_NB, ms);
  if (descriptor_ < 0) errno = error;
}

TextFile TextFile::ToRead(const char* path) { return {path, O_RDONLY, LOCK_SH, kReadLockMs}; }

TextFile TextFile::ToWrite(const char* path) { return {path, O_RDWR | O_CREAT, LOCK_EX, kWriteLockMs}; }

TextFile::~TextFile() {
  if (IsOpen()) Close();
}

unsigned int TextFile::Size() const {
  struct stat status;
  if (fstat(descriptor_, &status) != 0) return 0;
  return std::in_range<unsigned int>(status.st_size) ? static_cast<unsigned int>(status.st_size) : 0;
}

void TextFile::Read(void* buffer, std::size_t size) const {
  const ssize_t got = read(descriptor_, buffer, size);
  const std::size_t filled = got > 0 ? static_cast<std::size_t>(got) : 0;
  std::memset(static_cast<char*>(buffer) + filled, 0, size - filled);
}

void TextFile::Truncate() const {
  // A file that cannot be emptied is written over all the same.
  [[maybe_unused]] const int result = ftruncate(descriptor_, 0);
}

void TextFile::SeekEnd() const { lseek(descriptor_, 0, SEEK_END); }

void TextFile::Write(const void* bytes, std::size_t size) const {
  const char* at = static_cast<const char*>(bytes);
  const char* const end = at + size;
  while (at != end) {
    const ssize_t written = write(descriptor_, at, std::min(static_cast<std::size_t>(end - at), kMostAtOnce));
    if (written > 0) {
      at += written;
    } else if (written == 0 || errno != EINTR) {
      return;
    }
  }
}

int TextFile::Close() { return close(std::exchange(descriptor_, -1)); }

}  // namespace text
