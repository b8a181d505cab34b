#include <tillvane/platform/linux/preferences_file_linux.h>

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include <tillvane/platform/linux/durable_folder_linux.h>
#include <tillvane/platform/linux/small_file_linux.h>
#include <tillvane/platform/posix/descriptor_posix.h>

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLockPause{1};
// Whatever stands there instead of a file must not keep us waiting.
constexpr int kNeverWait = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

bool IsOwnFile(int file) {
  struct stat info;
  return fstat(file, &info) == 0 && S_ISREG(info.st_mode) && info.st_uid == geteuid();
}

bool IsNamed(int file, const std::string& path) {
  struct stat open_file, named;
  return fstat(file, &open_file) == 0 && lstat(path.c_str(), &named) == 0 && open_file.st_dev == named.st_dev &&
         open_file.st_ino == named.st_ino;
}

/// The right to write, for as long as this lives.
class WriteLock {
 public:
  WriteLock(const std::string& path, int wait_ms) {
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(wait_ms);
    do {
      file_.emplace(open(path.c_str(), O_RDWR | O_CREAT | kNeverWait, 0600));
      if (!file_->IsOpen() || !IsOwnFile(file_->Get()) || !Take(end)) return;
      // Somebody may have taken the file away while we waited: others would not see the lock.
      is_held_ = IsNamed(file_->Get(), path);
    } while (!is_held_ && Clock::now() < end);
  }
  // A program that is being started just now has the descriptor as well: closing it alone would not end the lock.
  ~WriteLock() {
    if (is_held_) flock(file_->Get(), LOCK_UN);
  }
  WriteLock(const WriteLock&) = delete;
  WriteLock& operator=(const WriteLock&) = delete;

  bool IsHeld() const { return is_held_; }

 private:
  bool Take(Clock::time_point end) const {
    while (flock(file_->Get(), LOCK_EX | LOCK_NB) != 0) {
      if ((errno != EWOULDBLOCK && errno != EINTR) || Clock::now() >= end) return false;
      std::this_thread::sleep_for(kLockPause);
    }
    return true;
  }

  std::optional<Descriptor> file_;
  bool is_held_ = false;
};

bool WriteAll(int file, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(file, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

bool WriteNewFile(const std::string& path, std::string_view text) {
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | kNeverWait, 0600));
  return file.IsOpen() && WriteAll(file.Get(), text) && fsync(file.Get()) == 0;
}

/// Only with the lock: the new file is first written under a name that all writers use, so that a kill leaves at most
/// one behind.
bool ReplaceFile(const std::string& path, std::string_view text) {
  const std::string fresh = path + ".new";
  unlink(fresh.c_str());
  if (WriteNewFile(fresh, text) && rename(fresh.c_str(), path.c_str()) == 0) return SyncFolder(ParentOf(path));
  unlink(fresh.c_str());
  return false;
}

}  // namespace

PreferencesFile::PreferencesFile(std::string folder, std::size_t most)
    : folder_(std::move(folder)), path_(folder_ + "/preferences"), most_(most) {}

bool PreferencesFile::MakeFolder() const {
  // Who wrote the file had synced the names of its folders before.
  const StandingName standing = StandingNamesAbove(path_);
  return MakeSyncedFolder(ParentOf(folder_), standing) && MakeSyncedFolder(folder_, standing);
}

bool PreferencesFile::FindPlace(std::string* place) const {
  struct stat info;
  *place = path_;
  if (lstat(path_.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return true;
  std::error_code error;
  *place = std::filesystem::canonical(path_, error).string();
  return !error;
}

/// \return false when there is something that is not to be read; what is not there is an empty text
bool PreferencesFile::ReadText(const std::string& place, std::string* text) const {
  const Descriptor file(open(place.c_str(), O_RDONLY | kNeverWait));
  if (!file.IsOpen()) return errno == ENOENT;
  return IsOwnFile(file.Get()) && ReadSmallFile(file.Get(), most_, text).empty() && text->size() <= most_;
}

/// Not by renaming: after a kill the values that can be read must still be there. A copy that was made before a kill is
/// not made again.
bool PreferencesFile::KeepBroken(const std::string& place, const std::string& text) const {
  std::string copy = place + ".broken";
  for (int number = 2;; ++number) {
    struct stat info;
    if (lstat(copy.c_str(), &info) != 0) return errno == ENOENT && ReplaceFile(copy, text);
    std::string kept;
    if (ReadText(copy, &kept) && kept == text) return true;
    copy = place + ".broken-" + std::to_string(number);
  }
}

bool PreferencesFile::Read(PreferenceValues* values) const {
  std::string place, text;
  if (!FindPlace(&place) || !ReadText(place, &text)) return false;
  *values = ParsePreferences(text).values;
  return true;
}

bool PreferencesFile::Change(const std::function<void(PreferenceValues&)>& change, int wait_ms,
                             PreferenceValues* values) const {
  if (!MakeFolder()) return false;
  const WriteLock lock(path_ + ".lock", wait_ms);
  std::string place, before;
  if (!lock.IsHeld() || !FindPlace(&place) || !ReadText(place, &before)) return false;
  ParsedPreferences parsed = ParsePreferences(before);
  change(parsed.values);
  const std::string after = FormatPreferences(parsed.values);
  if (after.size() > most_ || (!parsed.is_whole && !KeepBroken(place, before)) || !ReplaceFile(place, after)) {
    return false;
  }
  *values = std::move(parsed.values);
  return true;
}

}  // namespace platform
