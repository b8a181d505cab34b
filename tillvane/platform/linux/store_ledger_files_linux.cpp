#include <tillvane/platform/linux/store_ledger_files_linux.h>

#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <mutex>

#include <tillvane/platform/linux/durable_folder_linux.h>
#include <tillvane/platform/linux/signals_blocked_linux.h>

namespace platform {

namespace {

// The ledger itself goes first. Cut short after it, a log without a ledger remains, which is never taken for a new
// ledger's own; the other way round, a ledger without its log would pass for whole.
constexpr std::array kLedgerFiles{"", "-wal", "-journal", "-shm"};

bool Exists(const std::string& path) {
  struct stat info;
  return lstat(path.c_str(), &info) == 0;
}

bool RenameToUnused(const std::string& from, const std::string& to) {
  return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
}

bool IsUnused(const std::string& name) {
  for (const char* suffix : kLedgerFiles) {
    if (Exists(name + suffix)) return false;
  }
  return true;
}

/// The log and the index follow the ledger, so that what the log holds can still be read from the two together.
bool MoveCompanions(const std::string& path, const std::string& aside, std::string* error) {
  for (const char* suffix : kLedgerFiles) {
    const std::string from = path + suffix;
    if (!Exists(from) || RenameToUnused(from, aside + suffix)) continue;
    *error = WithSystemReason(from + " cannot be renamed", errno);
    return false;
  }
  if (SyncFolder(ParentOf(path))) return true;
  *error = WithSystemReason("the renaming is not on the disk", errno);
  return false;
}

}  // namespace

std::string WithSystemReason(const std::string& what, int code) {
  char buffer[128];
  return what + " (" + strerror_r(code, buffer, sizeof buffer) + ")";
}

bool IdentifyFile(const std::string& path, FileNumbers* identity) {
  struct stat info;
  if (lstat(path.c_str(), &info) != 0) return false;
  *identity = {info.st_dev, info.st_ino};
  return true;
}

bool MakeLedgerFolder(const std::string& path, const std::string& ledger, std::string* error) {
  // Without the ledger, whoever made a folder may have been killed before its name was on the disk.
  const StandingName standing = StandingNamesAbove(ledger);
  std::string::size_type end = 0;
  do {
    end = path.find('/', end + 1);
    const std::string part = path.substr(0, end);
    if (MakeSyncedFolder(part, standing)) continue;
    *error = part + ": " + WithSystemReason("the ledger's folder cannot be used", errno);
    return false;
  } while (end != std::string::npos);
  return true;
}

bool MakeLedgerFile(const std::string& path, std::string* error) {
  // Closing a file drops this process's record locks on it, whoever took them: without the mutex, another thread could
  // have opened and locked the new ledger between the two calls.
  static std::mutex mutex;
  const UninterruptedLock guard(mutex);
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (file < 0 && errno == EEXIST) return true;
  if (file >= 0) {
    close(file);
    if (SyncFolder(ParentOf(path))) return true;
  }
  *error = path + ": " + WithSystemReason("cannot be made", errno);
  return false;
}

bool SetLedgerAside(const std::string& path, std::string* aside, std::string* error) {
  for (int number = 1;; ++number) {
    *aside = path + ".corrupt-" + std::to_string(number);
    if (!IsUnused(*aside)) continue;
    if (RenameToUnused(path, *aside)) return MoveCompanions(path, *aside, error);
    if (errno == EEXIST) continue;
    *error = WithSystemReason("it cannot be renamed to " + *aside, errno);
    return false;
  }
}

}  // namespace platform
