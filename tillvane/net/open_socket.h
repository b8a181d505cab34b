#pragma once

#include <tillvane/net/LIPSocket.h>

namespace net {

/// A TCP socket with what all of ours have: non-blocking, closed on exec, a send buffer of 32768 bytes. It holds
/// nothing when the system gave none, with errno.
LIPSocketTCP OpenSocket();

}  // namespace net
