#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include <tillvane/platform/stream_socket.h>

namespace platform {

namespace {

/// Makes a new socket what the header promises; one that cannot be made so is closed. \return it, or -1 with errno
int SetUp(int descriptor) {
  if (descriptor < 0) return -1;
  int on = 1;
  if (ioctl(descriptor, FIONBIO, &on) == 0 && fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0) {
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

int OpenStreamSocket() { return SetUp(socket(AF_INET, SOCK_STREAM, 0)); }

int AcceptStream(int listening) { return SetUp(accept(listening, nullptr, nullptr)); }

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
