#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/files.h>
#include <tests/support/local_sockets.h>
#include <tests/support/sockets.h>
#include <tests/support/temp_folder.h>
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

TEST(StreamSocket, ALocalOneBlocksAndIsNotInherited) {
  const LIPSocketTCP socket(platform::OpenLocalSocket());
  int domain = 0, type = 0;
  socklen_t size = sizeof domain;
  ASSERT_EQ(getsockopt(socket.Descriptor(), SOL_SOCKET, SO_DOMAIN, &domain, &size), 0);
  ASSERT_EQ(getsockopt(socket.Descriptor(), SOL_SOCKET, SO_TYPE, &type, &size), 0);
  EXPECT_EQ(domain, AF_UNIX);
  EXPECT_EQ(type, SOCK_STREAM);
  EXPECT_EQ(fcntl(socket.Descriptor(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_EQ(fcntl(socket.Descriptor(), F_GETFD), FD_CLOEXEC);
}

TEST(StreamSocket, TheFileOfALocalOneIsItsOwnersWhateverTheMask) {
  const support::TempFolder folder;
  const std::string path = folder.File("socket");
  for (const mode_t mask : {0000u, 0022u, 0077u, 0177u, 0200u, 0777u}) {
    SCOPED_TRACE(mask);
    const mode_t before = umask(mask);
    const LIPSocketTCP socket(platform::OpenLocalSocket());
    EXPECT_EQ(platform::BindLocalSocket(socket.Descriptor(), support::LocalAddress(path)), 0);
    EXPECT_EQ(umask(before), mask) << "it is left alone";
    EXPECT_EQ(support::Mode(path), 0600U & ~mask);
    const LIPSocketTCP second(platform::OpenLocalSocket());
    EXPECT_EQ(platform::BindLocalSocket(second.Descriptor(), support::LocalAddress(path)), -1);
    EXPECT_EQ(errno, EADDRINUSE);
    unlink(path.c_str());
  }
  EXPECT_EQ(platform::BindLocalSocket(-1, support::LocalAddress(path)), -1);
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
