#pragma once

#include <tillvane/core/LProcessInterface.h>
#include <tillvane/export.h>
#include <tillvane/net/LIPAddress.h>
#include <tillvane/net/LIPSocket.h>

/// \file
/// Connecting, sending and receiving on TCP sockets by operations that can be asked to stop.
///
/// Every function answers 0 done, 1 stopped because `process` said so, 2 failed or out of time; it does not say which
/// of the two, and a peer that has closed the connection is a failure. A descriptor of -1 is a failure, any other may
/// be used, those beyond 1023 too. No function raises SIGPIPE, and none blocks on a socket that happens to be blocking.
///
/// A wait asks `process` before each slice of 200 milliseconds. `timeout` is in milliseconds and counts whole slices:
/// 1 to 200, and 0 as well, are one slice, 201 to 400 are two. It is for a single wait in which nothing happens, and
/// each wait gets it anew. 0xFFFFFFFF is 49 days. A signal handler that interrupts a slice ends the wait: receiving
/// then fails unless something has arrived, sending and connecting fail. A caller whose signal handler makes `process`
/// stop therefore asks it once more after a 2.
///
/// The functions keep nothing between calls. A call belongs to the thread that `process` belongs to; one thread may
/// send while another one receives on the same socket.

/// Waits until there is something to receive, the peer has closed, or the wait itself has failed: 0 leaves it to the
/// next receive to find out which.
TILLVANE_API unsigned int ProcessWaitForDataOrClose(LProcessInterface& process, LIPSocketTCPRef socket,
                                                    unsigned int timeout);

/// Receives what is there, at least a byte and at most `capacity`. A capacity of 0 is 0 at once.
/// \param process asked whether to stop
/// \param socket of the connection
/// \param buffer receives the bytes
/// \param capacity bytes that `buffer` can hold
/// \param received so many bytes, 0 unless the answer is 0
/// \param timeout in milliseconds, for each wait
TILLVANE_API unsigned int ProcessRecvReady(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer,
                                           unsigned long capacity, unsigned long& received, unsigned int timeout);

/// Receives what is there up to and including the first byte that occurs in `terminators`; later bytes stay queued.
/// When none occurs in the first `capacity` bytes, all that is there is received: the answer is 0 too, and the caller
/// looks at the last byte and calls again for the rest. No text is terminated, and a NUL never ends anything.
/// \param process asked whether to stop
/// \param socket of the connection
/// \param buffer receives the bytes
/// \param capacity bytes that `buffer` can hold. With 0 the answer is 2 once something is there
/// \param received so many bytes, 0 unless the answer is 0
/// \param terminators ends with a NUL; the bytes may be of any value otherwise
/// \param timeout in milliseconds, for each wait
TILLVANE_API unsigned int ProcessRecvToCharacter(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer,
                                                 unsigned long capacity, unsigned long& received,
                                                 const char* terminators, unsigned int timeout);

/// Receives one byte. It is left alone unless the answer is 0.
TILLVANE_API unsigned int ProcessRecvByte(LProcessInterface& process, LIPSocketTCPRef socket, unsigned char& byte,
                                          unsigned int timeout);

/// Receives exactly `length` bytes.
/// \param process asked whether to stop
/// \param socket of the connection
/// \param buffer room for `length` bytes
/// \param length how many to wait for
/// \param received so many have come, also when the answer is not 0
/// \param timeout in milliseconds, for each wait
TILLVANE_API unsigned int ProcessRecvBytes(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer,
                                           unsigned long length, unsigned long& received, unsigned int timeout);
/// The same, for a caller who has no use for a part.
TILLVANE_API unsigned int ProcessRecvBytes(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer,
                                           unsigned long length, unsigned int timeout);

/// Receives up to `length` bytes, until the peer closes, something fails or the time is over.
/// \param process asked whether to stop
/// \param socket of the connection
/// \param buffer room for `length` bytes
/// \param length how many to receive at most
/// \param received so many have come
/// \param timeout in milliseconds, for each wait
/// \return 1 when stopped, otherwise 0: also when nothing has come
TILLVANE_API unsigned int ProcessRecvAll(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer,
                                         unsigned long length, unsigned long& received, unsigned int timeout);

/// Sends all of it. `timeout` is for all waits together: what has been sent meanwhile does not renew it. After another
/// answer than 0 an unknown part was sent.
TILLVANE_API unsigned int ProcessSend(LProcessInterface& process, LIPSocketTCPRef socket, const void* data,
                                      unsigned long length, unsigned int timeout);

/// Connects a new socket, which is non-blocking, closed on exec and has a send buffer of 32768 bytes. What `socket`
/// held is closed first; without a connection it holds nothing afterwards.
///
/// The first question whether to stop comes after the first slice in which nothing happened. A connection that the peer
/// has refused may answer 0: the first use of the socket then fails.
TILLVANE_API unsigned int ProcessConnect(LProcessInterface& process, LIPSocketTCP& socket,
                                         const LIPAddressWithPort& address, unsigned int timeout);

/// Tries the addresses in order, each with the whole time, until one is connected or `process` says stop. None given
/// is 2, and `socket` is left alone.
TILLVANE_API unsigned int ProcessConnect(LProcessInterface& process, LIPSocketTCP& socket,
                                         const LIPAddressMultiHomedWithPort& addresses, unsigned int timeout);
