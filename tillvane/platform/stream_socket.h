#pragma once

/// \file
/// IPv4 TCP sockets, as far as systems make them in different ways. A descriptor that is given is the caller's to
/// close; a failure is -1 with errno. Any thread.

#include <netinet/in.h>

namespace platform {

/// Opens a socket that is non-blocking and closed on exec. Where a socket can be told so, writing to a closed peer
/// gives no signal.
int OpenStreamSocket();

/// Takes the next waiting connection, as a socket that is like one of OpenStreamSocket().
int AcceptStream(int listening);

/// What `send` is given so that writing to a closed peer gives no signal; 0 where sockets are told.
int NoSignalSendFlag();

/// \param address,port in network order
sockaddr_in SocketAddress(unsigned int address, unsigned short port);

}  // namespace platform
