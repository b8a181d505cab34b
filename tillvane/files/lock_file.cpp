#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <utility>

#include <tillvane/files/LFile.h>
#include <tillvane/files/LLockFile.h>
#include <tillvane/platform/file_object.h>

static_assert(offsetof(LLockFile, filedes) == 0);
static_assert(offsetof(LLockFile, path) == 4);
static_assert(sizeof(LLockFile) == 264);

LLockFile::~LLockFile() {
  if (filedes >= 0) close(filedes);
}

int LLockFile::Lock(const char* file_path) {
  if (filedes >= 0) {
    close(std::exchange(filedes, -1));
    unlink(path);
  }
  LFile::_ApplyNewFileExtension(path, file_path, ".lck");
  filedes = platform::OpenLocked(path, platform::OpenFor::kReplacing, platform::FileLock::kExclusive, 0777);
  return filedes < 0 && errno == EAGAIN ? 0 : 1;
}
