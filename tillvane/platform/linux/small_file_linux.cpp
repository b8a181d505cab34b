#include <tillvane/platform/linux/small_file_linux.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace platform {

namespace {

/// An open file, closed at the end.
class OpenFile {
 public:
  explicit OpenFile(const std::string& path)
      // Without O_NONBLOCK the opening of a pipe would wait for its writer.
      : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
  ~OpenFile() {
    if (descriptor_ != -1) close(descriptor_);
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  int Descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

std::string SystemError() { return std::generic_category().message(errno); }

}  // namespace

std::string ReadSmallFile(const std::string& path, std::size_t most, std::string* text) {
  const OpenFile file(path);
  struct stat state;
  if (file.Descriptor() == -1 || fstat(file.Descriptor(), &state) != 0) return SystemError();
  if (!S_ISREG(state.st_mode)) return "not a regular file";
  char piece[16 * 1024];
  for (;;) {
    const ssize_t count = read(file.Descriptor(), piece, sizeof piece);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return SystemError();
    text->append(piece, static_cast<std::size_t>(count));
    if (count == 0 || text->size() > most) return {};
  }
}

}  // namespace platform
