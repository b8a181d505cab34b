// What pkexec starts as the administrator: it says that it runs, and becomes the tool that it is given.
//
// usage: tillvane-privileged-tool TOOL [ARGUMENT...]
//
// TOOL is an absolute path. It gets an environment that is written down here, and no shell reads its arguments. When it
// cannot be started nothing is written to standard output and the exit code is 127.

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <tillvane/platform/linux/privileged_tool_linux.h>

namespace {

constexpr int kNotStarted = 127;

int Refuse(const char* what, const char* why) {
  std::fprintf(stderr, "%s: %s: %s\n", platform::kPrivilegedHelper, what, why);
  return kNotStarted;
}

bool IsExecutableFile(const char* path) {
  struct stat status;
  if (stat(path, &status) != 0) return false;
  errno = EACCES;
  return S_ISREG(status.st_mode) && access(path, X_OK) == 0;
}

bool SayStarted() {
  ssize_t written;
  do {
    written = write(STDOUT_FILENO, &platform::kStartByte, 1);
  } while (written < 0 && errno == EINTR);
  return written == 1;
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2) return Refuse("usage", "TOOL [ARGUMENT...]");
  const char* const tool = arguments[1];
  if (*tool != '/') return Refuse(tool, "not an absolute path");
  if (!IsExecutableFile(tool)) return Refuse(tool, std::strerror(errno));
  // Hosts of the toolkit have none; what the administrator makes is not for everybody to write to.
  umask(022);
  if (!SayStarted()) return Refuse("standard output", std::strerror(errno));
  execve(tool, arguments + 1, const_cast<char* const*>(platform::kToolEnvironment));
  return Refuse(tool, std::strerror(errno));
}
