#pragma once

/// \file
/// IPv4 TCP sockets and local ones, as far as systems make them in different ways. A descriptor that is given is the
/// caller's to close; a failure is -1 with errno. Any thread.
///
/// On macOS a socket is closed on exec, non-blocking and silent from just behind its first moment: a child that another
/// thread starts in between by `fork` and `exec` has it too.

#include <netinet/in.h>
#include <sys/un.h>

namespace platform {

/// Opens a socket that is non-blocking and closed on exec. Where a socket can be told so, writing to a closed peer
/// gives no signal.
int OpenStreamSocket();

/// Takes the next waiting connection, TCP or local, as a socket that is like one of OpenStreamSocket().
int AcceptStream(int listening);

/// Opens a socket between processes of this machine: it blocks, and is closed on exec. As to signals it is like one of
/// OpenStreamSocket().
int OpenLocalSocket();

/// Binds a local socket to a path, where nothing may be. Its file never lets anybody but its owner through, whatever
/// the process's mask: it is of mode 0600 from the moment that anybody can connect to it, and of less only where the
/// mask takes bits of the owner's too. The mask is left alone: other threads make files as well.
/// \return 0
int BindLocalSocket(int socket, const sockaddr_un& address);

/// What `send` is given so that writing to a closed peer gives no signal; 0 where sockets are told.
int NoSignalSendFlag();

/// \param address in network order
/// \param port in network order
sockaddr_in SocketAddress(unsigned int address, unsigned short port);

}  // namespace platform
