#include <tillvane/platform/linux/small_file_linux.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include <tillvane/platform/posix/descriptor_posix.h>

namespace platform {

namespace {

std::string SystemError() { return std::generic_category().message(errno); }

}  // namespace

std::string ReadSmallFile(const std::string& path, std::size_t most, std::string* text) {
  // Without O_NONBLOCK the opening of a pipe would wait for its writer.
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  return file.IsOpen() ? ReadSmallFile(file.Get(), most, text) : SystemError();
}

std::string ReadSmallFile(int file, std::size_t most, std::string* text) {
  struct stat state;
  if (fstat(file, &state) != 0) return SystemError();
  if (!S_ISREG(state.st_mode)) return "not a regular file";
  char piece[16 * 1024];
  for (;;) {
    const ssize_t count = read(file, piece, sizeof piece);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return SystemError();
    text->append(piece, static_cast<std::size_t>(count));
    if (count == 0 || text->size() > most) return {};
  }
}

}  // namespace platform
