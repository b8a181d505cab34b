#include <tillvane/platform/linux/store_ledger_lock_linux.h>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include <tillvane/platform/linux/store_ledger_files_linux.h>

namespace platform {

namespace {

constexpr long long kOpenByte = 0;
constexpr long long kNumberMask = (1LL << 62) - 1;

struct flock OneByte(long long byte, short kind) {
  struct flock lock {};
  lock.l_type = kind;
  lock.l_whence = SEEK_SET;
  lock.l_start = byte;
  lock.l_len = 1;
  return lock;
}

bool IsTaken(int code) { return code == EAGAIN || code == EACCES; }

}  // namespace

LedgerLock::LedgerLock(std::string path) : path_(std::move(path)) {}

LedgerLock::~LedgerLock() {
  if (file_ >= 0) close(file_);
}

bool LedgerLock::Open(long long number, std::string* error) {
  // O_NONBLOCK: whatever stands there instead of a file must not keep us waiting.
  file_ = open(path_.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
  if (file_ < 0) {
    *error = path_ + ": " + WithSystemReason("cannot be opened", errno);
    return false;
  }
  struct stat info;
  if (fstat(file_, &info) != 0 || !S_ISREG(info.st_mode)) {
    *error = path_ + ": is not a file";
    return false;
  }
  if (TakeNumber(number)) return true;
  *error = path_ + ": " + WithSystemReason("cannot be locked", errno);
  return false;
}

bool LedgerLock::TakeNumber(long long number) {
  number_ = number;
  if (number != 0) return LockByte(number, F_WRLCK);
  // Numbers are drawn, not counted: a count would be kept in the ledger, and be lost with a corrupt one.
  do {
    if (getrandom(&number_, sizeof number_, 0) != sizeof number_) return false;
    number_ &= kNumberMask;
    if (number_ != kOpenByte && LockByte(number_, F_WRLCK)) return true;
  } while (number_ == kOpenByte || IsTaken(errno));
  return false;
}

bool LedgerLock::LockByte(long long byte, short kind) const {
  struct flock lock = OneByte(byte, kind);
  return fcntl(file_, F_OFD_SETLK, &lock) == 0;
}

bool LedgerLock::IsInPlace() const {
  struct stat open_file;
  FileNumbers named;
  return fstat(file_, &open_file) == 0 && IdentifyFile(path_, &named) &&
         named == FileNumbers{open_file.st_dev, open_file.st_ino};
}

bool LedgerLock::IsAlive(long long number) const {
  if (number == number_) return true;
  struct flock lock = OneByte(number, F_WRLCK);
  // When the system cannot say, the instance counts as alive: its rows are left alone.
  return fcntl(file_, F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK;
}

bool LedgerLock::Share(int timeout_ms, std::string* error) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
  while (!LockByte(kOpenByte, F_RDLCK)) {
    if (!IsTaken(errno) || std::chrono::steady_clock::now() >= end) {
      *error = path_ + ": " + WithSystemReason("cannot be locked", errno);
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

bool LedgerLock::TakeAlone() { return LockByte(kOpenByte, F_WRLCK); }

void LedgerLock::Leave() { LockByte(kOpenByte, F_UNLCK); }

}  // namespace platform
