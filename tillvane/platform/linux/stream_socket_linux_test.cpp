#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <gtest/gtest.h>

#include <tests/support/sockets.h>
#include <tillvane/platform/stream_socket.h>

namespace {

TEST(StreamSocket, IsATCPSocketThatNeitherBlocksNorIsInherited) {
  const LIPSocketTCP socket(platform::OpenStreamSocket());
  int domain = 0, protocol = 0;
  socklen_t size = sizeof domain;
  ASSERT_EQ(getsockopt(socket.Descriptor(), SOL_SOCKET, SO_DOMAIN, &domain, &size), 0);
  ASSERT_EQ(getsockopt(socket.Descriptor(), SOL_SOCKET, SO_PROTOCOL, &protocol, &size), 0);
  EXPECT_EQ(domain, AF_INET);
  EXPECT_EQ(protocol, IPPROTO_TCP);
  EXPECT_EQ(fcntl(socket.Descriptor(), F_GETFL) & O_NONBLOCK, O_NONBLOCK);
  EXPECT_EQ(fcntl(socket.Descriptor(), F_GETFD), FD_CLOEXEC);
}

TEST(StreamSocket, AnAcceptedOneIsTheSame) {
  const support::LoopbackPort port;
  const LIPSocketTCP peer = support::ConnectBlocking(port.Address());
  const LIPSocketTCP accepted(platform::AcceptStream(port.Descriptor()));
  ASSERT_GE(accepted.Descriptor(), 0);
  EXPECT_EQ(fcntl(accepted.Descriptor(), F_GETFL) & O_NONBLOCK, O_NONBLOCK);
  EXPECT_EQ(fcntl(accepted.Descriptor(), F_GETFD), FD_CLOEXEC);
}

TEST(StreamSocket, AcceptingFailsWithTheSystemsError) {
  const support::LoopbackPort port;
  fcntl(port.Descriptor(), F_SETFL, O_NONBLOCK);
  EXPECT_EQ(platform::AcceptStream(port.Descriptor()), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(platform::AcceptStream(-1), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST(StreamSocket, TheFlagIsTheOneThatKeepsSendFromSIGPIPE) { EXPECT_EQ(platform::NoSignalSendFlag(), MSG_NOSIGNAL); }

TEST(StreamSocket, AnAddressIsTheSystemsWithNothingElseInIt) {
  sockaddr_in expected;
  std::memset(&expected, 0, sizeof expected);
  expected.sin_family = AF_INET;
  expected.sin_port = htons(8080);
  expected.sin_addr.s_addr = htonl(0x7F000001);
  const sockaddr_in made = platform::SocketAddress(htonl(0x7F000001), htons(8080));
  EXPECT_EQ(std::memcmp(&made, &expected, sizeof made), 0);
}

}  // namespace
