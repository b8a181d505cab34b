#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <tillvane/platform/stream_socket.h>

namespace platform {

namespace {

enum class Mode { kBlocking, kNonBlocking };

/// Makes a new socket what the header promises; one that cannot be made so is closed. \return it, or -1 with errno
int SetUp(int descriptor, Mode mode) {
  if (descriptor < 0) return -1;
  int on = 1;
  const bool has_mode = mode == Mode::kBlocking || ioctl(descriptor, FIONBIO, &on) == 0;
  if (has_mode && fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0) {
    // It fails where the peer is gone already: then the next call finds that out.
    setsockopt(descriptor, SOL_SOCKET, SO_NOSIGPIPE, &on, sizeof on);
    return descriptor;
  }
  const int error = errno;
  close(descriptor);
  errno = error;
  return -1;
}

}  // namespace

int OpenStreamSocket() { return SetUp(socket(AF_INET, SOCK_STREAM, 0), Mode::kNonBlocking); }

int AcceptStream(int listening) { return SetUp(accept(listening, nullptr, nullptr), Mode::kNonBlocking); }

int OpenLocalSocket() { return SetUp(socket(AF_UNIX, SOCK_STREAM, 0), Mode::kBlocking); }

int BindLocalSocket(int socket, const sockaddr_un& address) {
  if (bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return -1;
  // Until it listens nobody can connect to it.
  if (fchmodat(AT_FDCWD, address.sun_path, S_IRUSR | S_IWUSR, AT_SYMLINK_NOFOLLOW) == 0) return 0;
  const int error = errno;
  unlink(address.sun_path);
  errno = error;
  return -1;
}

int NoSignalSendFlag() { return 0; }

sockaddr_in SocketAddress(unsigned int address, unsigned short port) {
  sockaddr_in made = {};
  made.sin_len = sizeof made;
  made.sin_family = AF_INET;
  made.sin_port = port;
  made.sin_addr.s_addr = address;
  return made;
}

}  // namespace platform
