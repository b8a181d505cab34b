// Receiving up to a character, beside a plain reader of the same stream. Input: the terminators, then turns: a number
// of bytes for the peer to send, which follow, and the room of the receive after it; the peer closes at the end.

#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

#include <tillvane/net/LProcessSocket.h>

#include "require.h"
#include "texts.h"

namespace {

/// Says stop where a wait would begin: nothing comes any more in this process.
class NoWaiting : public LProcessInterfaceVoid {
 public:
  bool IsToStop() override { return stop; }
  bool stop = false;
};

/// What is to come of the queued bytes.
std::string Expected(const std::string& queued, std::size_t room, const std::string& terminators) {
  std::string peeked = queued.substr(0, room);
  // A NUL is in no text of terminators.
  const std::size_t found = peeked.find_first_of(terminators);
  if (found != std::string::npos) peeked.resize(found + 1);
  return peeked;
}

void Receive(LIPSocketTCPRef socket, std::size_t room, const std::string& terminators, std::string* queued) {
  NoWaiting process;
  fuzz::Buffer buffer(room);
  const fuzz::Buffer exact(terminators);
  unsigned long received = 77;
  // Without a byte or room for one it would wait for the whole slice.
  process.stop = queued->empty() || room == 0;
  const unsigned int code = ProcessRecvToCharacter(process, socket, buffer.Get(), room, received, exact.Get(), 0);
  const std::string expected = process.stop ? "" : Expected(*queued, room, terminators);
  fuzz::Require(code == (process.stop ? 1u : 0u), "what is there is received");
  fuzz::Require(received == expected.size(), "as much as the plain reader receives");
  fuzz::Require(buffer.Bytes().substr(0, received) == expected, "the bytes are the plain reader's");
  queued->erase(0, received);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  int ends[2];
  fuzz::Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "there are sockets");
  const LIPSocketTCP ours(ends[0]);
  LIPSocketTCP peer(ends[1]);
  // Each send takes the room of a page's part in the queue, however short it is.
  const int queue = 200000;
  setsockopt(peer.Descriptor(), SOL_SOCKET, SO_SNDBUF, &queue, sizeof queue);
  fuzz::Input input(data, std::min<std::size_t>(size, 400));
  const std::string terminators = input.Text();
  std::string queued;
  while (input.HasMore()) {
    const std::string sent = input.Bytes(input.Number());
    fuzz::Require(send(peer.Descriptor(), sent.data(), sent.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
                      static_cast<ssize_t>(sent.size()),
                  "the queue has room");
    queued += sent;
    Receive(ours, input.Number(), terminators, &queued);
  }
  peer.Close();
  while (!queued.empty()) Receive(ours, 100, terminators, &queued);
  NoWaiting process;
  char byte;
  unsigned long received = 77;
  fuzz::Require(ProcessRecvToCharacter(process, ours, &byte, 1, received, terminators.c_str(), 0) == 2,
                "a closed peer is a failure");
  fuzz::Require(received == 0, "nothing comes after the end");
  return 0;
}
