#pragma once

/// \file
/// Connections over loopback. Descriptors are owned; one that could not be had is -1.

#include <tillvane/net/LIPAddress.h>
#include <tillvane/net/LIPSocket.h>

namespace bench {

/// Listens on a port of loopback that the system chooses. Connections to it have the segments of an Ethernet: those of
/// loopback are as large as a whole send buffer of 32768 bytes, and half of the time would be spent on acknowledgements
/// that are delayed for more data.
LIPSocketTCP ListenOnLoopback(int backlog);

/// Listens on a port of every local address, as a listener of the library does.
LIPSocketTCP ListenAnywhere(int backlog);

/// Where a listening socket can be connected to on loopback.
LIPAddressWithPort AddressOf(LIPSocketTCPRef listening);

/// A connection to an address, blocking.
LIPSocketTCP ConnectBlocking(const LIPAddressWithPort& address);

/// Lets the connection be forgotten when it is closed, without keeping its port for a minute.
void ForgetWhenClosed(LIPSocketTCPRef socket);

/// Two blocking ends of a connection, with the send buffer of the library's own sockets and no delay of small pieces.
struct Link {
  Link();
  bool IsThere() const { return ends[1].Descriptor() >= 0; }

  LIPSocketTCP ends[2];
};

}  // namespace bench
