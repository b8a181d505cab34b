#include <tillvane/platform/linux/application_signature_linux.h>

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include <tillvane/platform/linux/main_bundle_linux.h>
#include <tillvane/platform/linux/process_walk_linux.h>
#include <tillvane/platform/process_table.h>

namespace platform {

namespace {

unsigned int Code(const unsigned char* bytes) {
  unsigned int code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | bytes[i];
  return code;
}

/// Absolute; empty when the process is gone, is the kernel's, or may not be looked into.
std::string ExecutableOf(const ProcessWalk& walk, const char* number) {
  char target[PATH_MAX];
  const ssize_t size = readlinkat(walk.Folder(), (std::string(number) + "/exe").c_str(), target, sizeof target);
  return size > 0 && target[0] == '/' ? std::string(target, static_cast<std::size_t>(size)) : std::string();
}

/// Of the bundle that holds the executable; empty when none does.
std::string PackageInformationPath(const std::string& executable) {
  if (executable.empty()) return {};
  const MainBundle bundle = MainBundleOf(executable, {});
  // What is no bundle has no folder of resources.
  return bundle.resources == bundle.path ? std::string() : bundle.path + "/Contents/PkgInfo";
}

}  // namespace

bool ReadApplicationCodes(const char* path, ApplicationCodes& codes) {
  // Whoever made the bundle may have put a pipe there.
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return false;
  struct stat status;
  unsigned char bytes[8];
  const bool is_read = fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
                       read(file, bytes, sizeof bytes) == static_cast<ssize_t>(sizeof bytes);
  close(file);
  if (is_read) codes = {Code(bytes), Code(bytes + 4)};
  return is_read;
}

bool FindApplication(unsigned int signature, unsigned int type, ProcessSerialNumber& number) {
  ProcessWalk walk;
  while (const char* const process = walk.Next()) {
    const std::string path = PackageInformationPath(ExecutableOf(walk, process));
    ApplicationCodes codes;
    if (path.empty() || !ReadApplicationCodes(path.c_str(), codes)) continue;
    if (codes.signature != signature || codes.type != type) continue;
    number = {0, static_cast<unsigned int>(std::atoi(process))};
    return true;
  }
  return false;
}

}  // namespace platform
