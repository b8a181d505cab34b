#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>

#include <tillvane/files/LFileFolderIterator.h>
#include <tillvane/files/folder_walk.h>

namespace {

/// Times are the low 32 bits of seconds, and so is what is before what.
std::int32_t Low(std::time_t time) { return static_cast<std::int32_t>(static_cast<std::uint32_t>(time)); }

std::int32_t DaysAgo(int days) {
  constexpr std::uint32_t seconds_in_a_day = 86400;
  const auto now = static_cast<std::uint32_t>(std::time(nullptr));
  return static_cast<std::int32_t>(now - static_cast<std::uint32_t>(days) * seconds_in_a_day);
}

}  // namespace

void LFile::DeleteOldFiles(const char* folder, const char* pattern, int days) {
  if (days < 1) return;
  const std::int32_t cutoff = DaysAgo(days);
  files::WalkPath path(folder);
  FolderIterator listing;
  for (int found = listing.Open(folder, pattern); found != 0; found = listing.Next()) {
    const files::WalkPath::Entry entry(path, listing.entry.d_name);
    if (!entry.IsReached()) continue;
    const int open_folder = dirfd(listing.dir);
    struct stat status;
    const bool is_there = fstatat(open_folder, listing.entry.d_name, &status, 0) == 0;
    if ((is_there ? Low(status.st_ctime) : 0) < cutoff) unlinkat(open_folder, listing.entry.d_name, 0);
  }
}
