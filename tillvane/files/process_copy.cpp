#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <utility>

#include <tillvane/core/LFileLock.h>
#include <tillvane/files/LFile.h>
#include <tillvane/files/LProcessCopyFile.h>
#include <tillvane/files/path_text.h>
#include <tillvane/platform/file_object.h>

static_assert(offsetof(LProcessCopyFile, source) == 0);
static_assert(offsetof(LProcessCopyFile, destination) == sizeof(void*));
static_assert(sizeof(LProcessCopyFile) == 2 * sizeof(void*));

namespace {

constexpr int kCopied = 0, kStopped = 1, kFailed = 2;

constexpr unsigned int kLockMs = 1000;
constexpr mode_t kMode = 0666;
constexpr long kPiece = 32768;

class OpenFile {
 public:
  /// Pipes are opened without waiting for their other end.
  OpenFile(const char* path, int flags) : descriptor_(open(path, flags | O_NONBLOCK | O_CLOEXEC, kMode)) {}
  ~OpenFile() {
    const int error = errno;
    if (IsOpen()) Close();
    errno = error;
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool IsOpen() const { return descriptor_ >= 0; }
  int Get() const { return descriptor_; }

  bool Close() { return close(std::exchange(descriptor_, -1)) == 0 || errno == EINTR; }

  /// Goes on without, if somebody else keeps the lock for too long.
  void Lock(int operation) const { flocktimed(descriptor_, operation | LOCK_NB, kLockMs); }

 private:
  int descriptor_;
};

bool IsSameFile(int one, int other) {
  struct stat first, second;
  return fstat(one, &first) == 0 && fstat(other, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

void Announce(LProcessInterface& process, const char* destination) {
  char name[files::kPathSize];
  LFile::_GetFileFromPath(name, destination);
  process.SetStatus("Copy File", 0);
  process.SetStatus(name, 1);
  process.SetProgress(0.0);
}

bool IsFolderThere(const char* destination) {
  char folder[files::kPathSize];
  LFile::_GetFolderFromPath(folder, destination);
  return LFile::TestFolderExists(folder);
}

long SizeOf(int file) {
  struct stat status;
  return fstat(file, &status) == 0 ? static_cast<long>(status.st_size) : 0;
}

/// Copies pieces of a file, and more at once where that takes no time: a call for each piece alone would take about a
/// quarter longer. What is copied beyond the pieces that were asked for is deleted with the rest if it comes to that.
class PieceCopy {
 public:
  PieceCopy(int from, int to, long size)
      : from_(from),
        to_(to),
        left_(size),
        holes_(platform::MayHaveHoles(from) ? platform::Holes::kKept : platform::Holes::kNone) {}

  /// \return false with errno when the source has no more, or a byte could not be copied
  bool CopyNext(long piece) {
    while (ahead_ < piece && !has_failed_) CopyMore();
    if (ahead_ < piece) {
      errno = error_;
      return false;
    }
    ahead_ -= piece;
    return true;
  }

 private:
  using Clock = std::chrono::steady_clock;

  void CopyMore() {
    constexpr long most_at_once = 8 * kPiece;
    // A stop is never long in coming: on a slow drive, pieces are copied one by one.
    constexpr std::chrono::milliseconds soon(5);
    const Clock::time_point begin = Clock::now();
    const long wanted = std::min(left_, at_once_);
    const auto copied = static_cast<long>(platform::CopyBytes(from_, to_, static_cast<unsigned long>(wanted), holes_));
    has_failed_ = copied < wanted;
    error_ = errno;
    at_once_ = Clock::now() - begin < soon ? std::min(2 * at_once_, most_at_once) : kPiece;
    left_ -= copied;
    ahead_ += copied;
  }

  const int from_, to_;
  long left_;
  const platform::Holes holes_;
  long ahead_ = 0;
  bool has_failed_ = false;
  int error_ = 0;
  long at_once_ = kPiece;
};

int CopyPieces(LProcessInterface& process, int from, int to) {
  const long size = SizeOf(from);
  const double step = size >= kPiece ? static_cast<double>(kPiece) / static_cast<double>(size) : 1.0;
  PieceCopy copy(from, to, size);
  double progress = 0;
  for (long left = size; left > 0;) {
    if (process.IsToStop()) return kStopped;
    const long piece = std::min(left, kPiece);
    if (!copy.CopyNext(piece)) return kFailed;
    left -= piece;
    process.SetProgress(progress);
    progress += step;
  }
  return kCopied;
}

/// The time of the last change is the source's, in whole seconds.
void CopyTime(int from, int to) {
  struct stat source, copy;
  if (fstat(from, &source) != 0 || fstat(to, &copy) != 0) return;
  const timespec times[] = {{copy.st_atime, 0}, {source.st_mtime, 0}};
  futimens(to, times);
}

int CopyOpenFiles(LProcessInterface& process, int from, OpenFile* to) {
  to->Lock(LOCK_EX);
  // A device has no length to take away.
  if (ftruncate(to->Get(), 0) != 0 && errno != EINVAL) return kFailed;
  const int result = CopyPieces(process, from, to->Get());
  if (result != kCopied) return result;
  CopyTime(from, to->Get());
  // Some file systems only say here that the disk is full.
  return to->Close() ? kCopied : kFailed;
}

void Discard(OpenFile* file, const char* path) {
  const int error = errno;
  if (file->IsOpen()) file->Close();
  unlink(path);
  errno = error;
}

}  // namespace

int Process(LProcessInterface& process, const LProcessCopyFile& request) {
  Announce(process, request.destination);
  if (!IsFolderThere(request.destination)) return kFailed;
  const OpenFile from(request.source, O_RDONLY);
  if (!from.IsOpen()) return kFailed;
  from.Lock(LOCK_SH);
  OpenFile to(request.destination, O_RDWR | O_CREAT);
  if (!to.IsOpen()) return kFailed;
  if (IsSameFile(from.Get(), to.Get())) {
    errno = EINVAL;
    return kFailed;
  }
  const int result = CopyOpenFiles(process, from.Get(), &to);
  if (result != kCopied) Discard(&to, request.destination);
  return result;
}
