#include <sys/socket.h>
#include <sys/types.h>

#include <bitset>
#include <cerrno>

#include <tillvane/core/poll_for.h>
#include <tillvane/net/LProcessSocket.h>
#include <tillvane/net/socket_slices.h>

namespace {

using net::kDone;
using net::kFailed;
using net::kStopped;

/// Waits after `process` has been asked for the first time.
unsigned int WaitInSlices(LProcessInterface& process, LIPSocketTCPRef socket, unsigned int timeout) {
  net::SliceBudget budget(timeout);
  for (;;) {
    pollfd polled{socket.Descriptor(), POLLIN, 0};
    // A wait that fails or is interrupted counts as one that has found something.
    if (core::PollFor(&polled, 1, net::kSliceMs) != 0) return kDone;
    if (!budget.SpendSlice()) return kFailed;
    if (process.IsToStop()) return kStopped;
  }
}

/// What a wait would have to decide: nothing is there, or the descriptor is one that `recv` knows nothing of, such as a
/// pipe or a listening socket.
bool IsToWait(int error) { return error == EAGAIN || error == EWOULDBLOCK || error == ENOTCONN || error == ENOTSOCK; }

/// One `recv` of what is there. It is tried before the wait: a stream that flows needs no wait at all.
unsigned int Receive(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer, unsigned long capacity,
                     int flags, unsigned long& received, unsigned int timeout) {
  received = 0;
  if (process.IsToStop()) return kStopped;
  if (socket.Descriptor() < 0) return kFailed;
  const auto try_it = [&] { return recv(socket.Descriptor(), buffer, capacity, flags | MSG_DONTWAIT); };
  // Asked for nothing, a system may answer at once that it has given nothing.
  const bool waits_first = capacity == 0;
  ssize_t count = waits_first ? -1 : try_it();
  if (waits_first || (count < 0 && IsToWait(errno))) {
    if (const unsigned int code = WaitInSlices(process, socket, timeout)) return code;
    count = try_it();
  }
  if (count < 1) return kFailed;
  received = static_cast<unsigned long>(count);
  return kDone;
}

/// How many bytes there are up to and including the first terminator; all of them without one.
unsigned long LengthToTerminator(const unsigned char* bytes, unsigned long count, const char* terminators) {
  std::bitset<256> is_terminator;
  for (const char* one = terminators; *one != '\0'; ++one) is_terminator.set(static_cast<unsigned char>(*one));
  for (unsigned long i = 0; i < count; ++i) {
    if (is_terminator[bytes[i]]) return i + 1;
  }
  return count;
}

}  // namespace

unsigned int ProcessWaitForDataOrClose(LProcessInterface& process, LIPSocketTCPRef socket, unsigned int timeout) {
  if (process.IsToStop()) return kStopped;
  if (socket.Descriptor() < 0) return kFailed;
  return WaitInSlices(process, socket, timeout);
}

unsigned int ProcessRecvReady(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer, unsigned long capacity,
                              unsigned long& received, unsigned int timeout) {
  received = 0;
  if (capacity == 0) return kDone;
  return Receive(process, socket, buffer, capacity, 0, received, timeout);
}

unsigned int ProcessRecvToCharacter(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer,
                                    unsigned long capacity, unsigned long& received, const char* terminators,
                                    unsigned int timeout) {
  unsigned long peeked;
  received = 0;
  if (const unsigned int code = Receive(process, socket, buffer, capacity, MSG_PEEK, peeked, timeout)) return code;
  received = LengthToTerminator(static_cast<const unsigned char*>(buffer), peeked, terminators);
  // They are in the buffer already, and come again.
  recv(socket.Descriptor(), buffer, received, MSG_DONTWAIT);
  return kDone;
}

unsigned int ProcessRecvByte(LProcessInterface& process, LIPSocketTCPRef socket, unsigned char& byte,
                             unsigned int timeout) {
  unsigned long received;
  return ProcessRecvReady(process, socket, &byte, 1, received, timeout);
}

unsigned int ProcessRecvBytes(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer, unsigned long length,
                              unsigned long& received, unsigned int timeout) {
  received = 0;
  while (received < length) {
    unsigned long count;
    char* const rest = static_cast<char*>(buffer) + received;
    if (const unsigned int code = ProcessRecvReady(process, socket, rest, length - received, count, timeout)) {
      return code;
    }
    received += count;
  }
  return kDone;
}

unsigned int ProcessRecvBytes(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer, unsigned long length,
                              unsigned int timeout) {
  unsigned long received;
  return ProcessRecvBytes(process, socket, buffer, length, received, timeout);
}

unsigned int ProcessRecvAll(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer, unsigned long length,
                            unsigned long& received, unsigned int timeout) {
  return ProcessRecvBytes(process, socket, buffer, length, received, timeout) == kStopped ? kStopped : kDone;
}
