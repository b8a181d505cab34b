// What pkexec starts as the administrator: it says that it runs, and becomes the tool that it is given.
//
// usage: tillvane-privileged-tool TOOL [ARGUMENT...]
//
// TOOL is an absolute path. It gets an environment that is written down here, and no shell reads its arguments. When it
// is none that can be started nothing is written to standard output and the exit code is 127. (One of another
// machine's, or one that is just being written, is found out too late for that.)

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

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

/// Where a script's interpreter stands behind its "#!"; empty when it names none.
std::string_view Interpreter(std::string_view beginning) {
  const std::size_t begin = beginning.find_first_not_of(" \t", 2);
  if (begin == std::string_view::npos) return {};
  const std::string_view line = beginning.substr(begin, beginning.find('\n', begin) - begin);
  return line.substr(0, line.find_first_of(" \t"));
}

/// Would the system start it? A file without a sign of its own is what a shell alone takes for a script.
bool HasProgramsBeginning(const char* path) {
  char bytes[256];
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const ssize_t size = read(file, bytes, sizeof bytes);
  close(file);
  const std::string_view beginning(bytes, size > 0 ? static_cast<std::size_t>(size) : 0);
  errno = ENOEXEC;
  if (beginning.starts_with("\x7F"
                            "ELF"))
    return true;
  if (!beginning.starts_with("#!")) return false;
  const std::string interpreter(Interpreter(beginning));
  return !interpreter.empty() && access(interpreter.c_str(), X_OK) == 0;
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
  if (!IsExecutableFile(tool) || !HasProgramsBeginning(tool)) return Refuse(tool, std::strerror(errno));
  // Hosts of the toolkit have none; what the administrator makes is not for everybody to write to.
  umask(022);
  if (!SayStarted()) return Refuse("standard output", std::strerror(errno));
  execve(tool, arguments + 1, const_cast<char* const*>(platform::kToolEnvironment));
  return Refuse(tool, std::strerror(errno));
}
