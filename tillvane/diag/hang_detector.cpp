#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include <tillvane/core/cancellation.h>
#include <tillvane/diag/LHangDetector.h>
#include <tillvane/files/LFile.h>
#include <tillvane/platform/file_object.h>

constinit LHangDetector gLHangDetector;

struct LHangDetectorLayout {
  static_assert(offsetof(LHangDetector, path_) == 0);
  static_assert(offsetof(LHangDetector, descriptor_) == 260);
};

namespace {

constexpr char kPrefix[] = "_tillvane_rl_";
constexpr std::size_t kPrefixLength = sizeof kPrefix - 1;

/// What a marker holds, in the machine's byte order.
struct StartTime {
  std::uint32_t seconds;
  std::uint32_t milliseconds;  ///< since 1970 too: it wraps
};
static_assert(sizeof(StartTime) == 8);

StartTime Now() {
  timeval now;
  gettimeofday(&now, nullptr);
  return {static_cast<std::uint32_t>(std::time(nullptr)),
          static_cast<std::uint32_t>(now.tv_sec) * 1000 + static_cast<std::uint32_t>(now.tv_usec / 1000)};
}

const char* LoginName() {
  for (const char* const variable : {"LOGNAME", "USER"}) {
    if (const char* const name = std::getenv(variable)) return name;
  }
  return "";
}

/// \param path receives the marker's path, which is empty when there can be none
void MakeMarkerPath(char (&path)[260]) {
  path[0] = '\0';
  const char* const login = LoginName();
  if (std::strchr(login, '/') != nullptr) return;
  LFile::GetTempFolder(path);
  LFile::_MakeFilePath(path, path, kPrefix, login);
  // Where a long folder has cut more than the login name, the path is some other file's.
  const char* const name = std::strrchr(path, '/') + 1;
  if (std::strlen(name) < kPrefixLength) path[0] = '\0';
}

/// Deletes a marker, but nothing else that was put in its place.
void DeleteMarker(const char* path) {
  struct stat status;
  if (lstat(path, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid()) unlink(path);
}

}  // namespace

LHangDetector::~LHangDetector() { Destroy(); }

void LHangDetector::InitAndTest() {
  const core::CancellationPutOff put_off;
  found_unclean_end_ = false;
  stale_start_time_ = 0;
  const StartTime now = Now();
  MakeMarkerPath(path_);
  if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
  descriptor_ = platform::CreateLocked(path_, &now, sizeof now, 0600);
  if (descriptor_ < 0) TakeStaleMarker();
}

void LHangDetector::TakeStaleMarker() {
  const int marker = platform::OpenLocked(path_, platform::OpenFor::kReadingOwn, platform::FileLock::kShared, 0);
  if (marker < 0) return;
  found_unclean_end_ = true;
  StartTime start;
  if (read(marker, &start, sizeof start) == sizeof start) stale_start_time_ = start.seconds;
  // Another run may have deleted it meanwhile: what then stands at its path is the marker of a run that lives.
  platform::DeleteHeld(path_, marker);
  close(marker);
}

void LHangDetector::Destroy() {
  const core::CancellationPutOff put_off;
  // In this order: whoever starts between the two would take a marker that nobody holds for an unclean end.
  DeleteMarker(path_);
  path_[0] = '\0';
  if (descriptor_ >= 0) close(std::exchange(descriptor_, -1));
}

void LDebugHangDetectorInit() { gLHangDetector.InitAndTest(); }

void LDebugHangDetectorDestroy() { gLHangDetector.Destroy(); }
