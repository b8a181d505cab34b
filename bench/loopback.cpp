#include "loopback.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace bench {

namespace {

bool SetOption(LIPSocketTCPRef socket, int level, int name, int value) {
  return setsockopt(socket.Descriptor(), level, name, &value, sizeof value) == 0;
}

const sockaddr* Generic(const LIPAddressWithPort& address) {
  return reinterpret_cast<const sockaddr*>(&address.SocketAddress());
}

LIPSocketTCP Open() { return LIPSocketTCP(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)); }

/// \param address in host order
bool BindAndListen(LIPSocketTCPRef socket, unsigned int address, int backlog) {
  const LIPAddressWithPort any_port(htonl(address), 0);
  return bind(socket.Descriptor(), Generic(any_port), sizeof(sockaddr_in)) == 0 &&
         listen(socket.Descriptor(), backlog) == 0;
}

}  // namespace

LIPSocketTCP ListenOnLoopback(int backlog) {
  constexpr int ethernet_segment = 1448;
  LIPSocketTCP listening = Open();
  const bool listens = SetOption(listening, IPPROTO_TCP, TCP_MAXSEG, ethernet_segment) &&
                       BindAndListen(listening, INADDR_LOOPBACK, backlog);
  if (!listens) listening.Close();
  return listening;
}

LIPSocketTCP ListenAnywhere(int backlog) {
  LIPSocketTCP listening = Open();
  if (!BindAndListen(listening, INADDR_ANY, backlog)) listening.Close();
  return listening;
}

LIPAddressWithPort AddressOf(LIPSocketTCPRef listening) {
  sockaddr_in address = {};
  socklen_t size = sizeof address;
  getsockname(listening.Descriptor(), reinterpret_cast<sockaddr*>(&address), &size);
  return {htonl(INADDR_LOOPBACK), ntohs(address.sin_port)};
}

LIPSocketTCP ConnectBlocking(const LIPAddressWithPort& address) {
  LIPSocketTCP connected = Open();
  if (connect(connected.Descriptor(), Generic(address), sizeof(sockaddr_in)) != 0) connected.Close();
  return connected;
}

void ForgetWhenClosed(LIPSocketTCPRef socket) {
  const linger at_once{1, 0};
  setsockopt(socket.Descriptor(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
}

Link::Link() {
  constexpr int send_buffer = 32768;
  const LIPSocketTCP listening = ListenOnLoopback(1);
  ends[0] = ConnectBlocking(AddressOf(listening));
  ends[1] = LIPSocketTCP(accept(listening.Descriptor(), nullptr, nullptr));
  for (const LIPSocketTCP& end : ends) {
    SetOption(end, SOL_SOCKET, SO_SNDBUF, send_buffer);
    SetOption(end, IPPROTO_TCP, TCP_NODELAY, 1);
    ForgetWhenClosed(end);
  }
}

}  // namespace bench
