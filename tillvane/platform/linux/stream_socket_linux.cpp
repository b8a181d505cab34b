#include <sys/socket.h>
#include <sys/stat.h>

#include <tillvane/platform/stream_socket.h>

namespace platform {

// Both in one call, so that a process forked by another thread never inherits the descriptor.

int OpenStreamSocket() { return socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); }

int AcceptStream(int listening) { return accept4(listening, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC); }

int OpenLocalSocket() { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); }

int BindLocalSocket(int socket, const sockaddr_un& address) {
  // The kernel makes the file with the socket's own mode, less the mask.
  if (fchmod(socket, 0600) != 0) return -1;
  return bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

int NoSignalSendFlag() { return MSG_NOSIGNAL; }

sockaddr_in SocketAddress(unsigned int address, unsigned short port) {
  sockaddr_in made = {};
  made.sin_family = AF_INET;
  made.sin_port = port;
  made.sin_addr.s_addr = address;
  return made;
}

}  // namespace platform
