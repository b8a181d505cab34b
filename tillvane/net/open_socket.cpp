#include <tillvane/net/open_socket.h>

#include <sys/socket.h>

#include <tillvane/platform/stream_socket.h>

namespace net {

LIPSocketTCP OpenSocket() {
  constexpr int send_buffer = 32768;
  LIPSocketTCP made(platform::OpenStreamSocket());
  if (made.Descriptor() >= 0) setsockopt(made.Descriptor(), SOL_SOCKET, SO_SNDBUF, &send_buffer, sizeof send_buffer);
  return made;
}

}  // namespace net
