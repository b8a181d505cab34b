#include <unistd.h>

#include <cerrno>

#include <tillvane/files/LFile.h>
#include <tillvane/platform/file_object.h>

int LFile::TestFileShareReadBlocked(const char* path) {
  const int file = platform::OpenLocked(path, platform::OpenFor::kReading, platform::FileLock::kExclusive, 0);
  if (file < 0) return errno == EAGAIN ? 1 : 0;
  close(file);
  return 0;
}

int LFile::TestFileShareWriteBlocked(const char* path) { return TestFileShareReadBlocked(path); }
