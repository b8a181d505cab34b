#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstring>

#include <tillvane/platform/file_object.h>
#include <tillvane/platform/posix/descriptor_posix.h>

namespace platform {

namespace {

constexpr mode_t kPermissionBits = 07777;

/// Of a path's characters.
constexpr std::size_t kPathLength = 259;

/// A name in an open folder, or a path.
struct Place {
  int folder;
  const char* name;
};

int FailWith(int error) {
  errno = error;
  return -1;
}

bool IsSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// All bytes up to the end, also where a file does not tell how many it has.
bool CopyAllBytes(int from, int to, off_t size) {
  const auto known = static_cast<unsigned long>(size);
  if (MayHaveHoles(from) && CopyBytes(from, to, known, Holes::kKept) < known) return errno == 0;
  CopyBytes(from, to, LONG_MAX, Holes::kNone);
  return errno == 0;
}

/// Makes a file's bytes and permission bits those of another. Nobody else reads it before it has them.
int FillCopy(int from, const struct stat& source, Descriptor* to, const struct stat& copy) {
  // ext4 writes a file that was emptied, also one that was empty, to the disk when it is closed.
  if (copy.st_size != 0 && ftruncate(to->Get(), 0) != 0) return -1;
  if (!CopyAllBytes(from, to->Get(), source.st_size)) return -1;
  // A file system without permission bits has a copy all the same.
  [[maybe_unused]] const int ignored = fchmod(to->Get(), source.st_mode & kPermissionBits);
  // Some file systems only say here that the disk is full. The descriptor is gone in any case.
  return close(to->Release()) == 0 || errno == EINTR ? 0 : -1;
}

int CopyRegularFile(Place from, Place to) {
  const Descriptor source(openat(from.folder, from.name, O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat source_status, copy_status;
  if (!source.IsOpen() || fstat(source.Get(), &source_status) != 0) return -1;
  if (!S_ISREG(source_status.st_mode)) return FailWith(EOPNOTSUPP);
  Descriptor copy(openat(to.folder, to.name, O_WRONLY | O_CREAT | O_NONBLOCK | O_CLOEXEC, S_IRUSR | S_IWUSR));
  if (!copy.IsOpen()) return -1;
  // One that does not tell what it is was made just now: what may be deleted was, before.
  const bool is_told = fstat(copy.Get(), &copy_status) == 0;
  if (is_told && !S_ISREG(copy_status.st_mode)) return FailWith(EOPNOTSUPP);
  if (is_told && IsSame(source_status, copy_status)) return FailWith(EINVAL);
  if (is_told && FillCopy(source.Get(), source_status, &copy, copy_status) == 0) return 0;
  const int error = errno;
  unlinkat(to.folder, to.name, 0);
  return FailWith(error);
}

/// What is at the destination goes first: of a link, or of a file with another name, what it leads to is left alone.
int ReplaceRegularFile(Place from, const struct stat& source, Place to) {
  struct stat there;
  const bool is_there = fstatat(to.folder, to.name, &there, AT_SYMLINK_NOFOLLOW) == 0;
  if (is_there && IsSame(source, there)) return FailWith(EINVAL);
  if (is_there) unlinkat(to.folder, to.name, 0);
  return CopyRegularFile(from, to);
}

int CopyLink(Place from, Place to) {
  char target[PATH_MAX];
  const ssize_t length = readlinkat(from.folder, from.name, target, sizeof target - 1);
  if (length < 0) return -1;
  target[length] = '\0';
  unlinkat(to.folder, to.name, 0);
  return symlinkat(target, to.folder, to.name);
}

/// A folder's entries but '.' and '..'.
class Listing {
 public:
  /// \param folder stays the caller's
  explicit Listing(int folder) {
    const int own = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    stream_ = own >= 0 ? fdopendir(own) : nullptr;
    if (stream_ == nullptr && own >= 0) close(own);
  }
  ~Listing() {
    if (stream_ != nullptr) closedir(stream_);
  }
  Listing(const Listing&) = delete;
  Listing& operator=(const Listing&) = delete;

  bool IsOpen() const { return stream_ != nullptr; }

  /// \return null at the end
  const char* Next() {
    const dirent* entry = nullptr;
    do {
      entry = readdir(stream_);
    } while (entry != nullptr && (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0));
    return entry != nullptr ? entry->d_name : nullptr;
  }

 private:
  DIR* stream_ = nullptr;
};

/// Copies a folder with all that is in it, one level of the stack and three descriptors for each level of folders.
class FolderCopy {
 public:
  /// \return 0, or -1 with the errno of what failed last
  int Copy(const char* source, const char* destination) {
    CopyFolder({AT_FDCWD, source}, {AT_FDCWD, destination}, std::strlen(source));
    return error_ == 0 ? 0 : FailWith(error_);
  }

 private:
  void Note(bool succeeded) {
    if (!succeeded) error_ = errno;
  }

  void CopyFolder(Place from, Place to, std::size_t length) {
    const Descriptor source(openat(from.folder, from.name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat source_status, copy_status;
    if (!source.IsOpen() || fstat(source.Get(), &source_status) != 0) return Note(false);
    // Only its owner's while it is filled.
    if (mkdirat(to.folder, to.name, S_IRWXU) != 0 && errno != EEXIST) return Note(false);
    const Descriptor copy(openat(to.folder, to.name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!copy.IsOpen() || fstat(copy.Get(), &copy_status) != 0) return Note(false);
    if (!has_top_) top_ = copy_status;
    has_top_ = true;
    CopyEntries(source.Get(), copy.Get(), length);
    fchmod(copy.Get(), source_status.st_mode & kPermissionBits);
  }

  void CopyEntries(int from, int to, std::size_t length) {
    Listing listing(from);
    if (!listing.IsOpen()) return Note(false);
    while (const char* const name = listing.Next()) {
      const std::size_t entry_length = length + 1 + std::strlen(name);
      if (entry_length > kPathLength) {
        errno = ENAMETOOLONG;
        Note(false);
      } else {
        CopyEntry({from, name}, {to, name}, entry_length);
      }
    }
  }

  void CopyEntry(Place from, Place to, std::size_t length) {
    struct stat status;
    if (fstatat(from.folder, from.name, &status, AT_SYMLINK_NOFOLLOW) != 0) return Note(false);
    if (S_ISREG(status.st_mode)) return Note(ReplaceRegularFile(from, status, to) == 0);
    if (S_ISLNK(status.st_mode)) return Note(CopyLink(from, to) == 0);
    errno = EOPNOTSUPP;
    if (!S_ISDIR(status.st_mode)) return Note(false);
    errno = EINVAL;
    // The copy itself would be copied into itself, again and again.
    if (IsSame(status, top_)) return Note(false);
    CopyFolder(from, to, length);
  }

  int error_ = 0;
  bool has_top_ = false;
  struct stat top_;
};

}  // namespace

int CopyObject(const char* source, const char* destination) {
  struct stat status;
  if (stat(source, &status) != 0) return -1;
  if (S_ISREG(status.st_mode)) return CopyRegularFile({AT_FDCWD, source}, {AT_FDCWD, destination});
  if (S_ISDIR(status.st_mode)) return FolderCopy().Copy(source, destination);
  // Opening a pipe or a device would wait, or do something.
  return FailWith(EOPNOTSUPP);
}

}  // namespace platform
