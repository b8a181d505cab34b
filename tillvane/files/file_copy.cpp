#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <tillvane/files/LFile.h>
#include <tillvane/files/path_text.h>
#include <tillvane/platform/file_object.h>
#include <tillvane/system/LCommandLineProcess.h>
#include <tillvane/text/LStringFormat.h>

namespace {

bool IsLink(const char* path) {
  struct stat status;
  return lstat(path, &status) == 0 && S_ISLNK(status.st_mode);
}

bool IsSameFile(const char* one, const char* other) {
  struct stat first, second;
  return stat(one, &first) == 0 && stat(other, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

int CopyLink(const char* source, const char* destination) {
  char command[files::kPathSize];
  tplsnprintf(command, sizeof command, "cp -R \"%s\" \"%s\"", source, destination);
  return RunCommandLineProcess(command) ? 1 : 0;
}

}  // namespace

int LFile::CopyFile(const char* source, const char* destination) {
  if (IsLink(source)) return CopyLink(source, destination);
  if (IsSameFile(source, destination)) {
    // Deleting the destination would be the end of the source.
    errno = EINVAL;
    return 0;
  }
  unlink(destination);
  return platform::CopyObject(source, destination) == 0 ? 1 : 0;
}
