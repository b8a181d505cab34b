#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include <gtest/gtest.h>

#include <tests/support/sockets.h>
#include <tests/support/waiting.h>
#include <tillvane/net/LProcessSocket.h>

namespace {

using support::kAtOnceMs;
using support::kLongMs;
using support::kLoopback;
using support::kSoonMs;
using support::LoopbackPort;
using support::SilentPort;
using support::StopAtQuestion;
using support::Stopwatch;

class SocketConnect : public testing::Test {
 protected:
  /// A socket that holds something, which a connect is to close.
  static LIPSocketTCP Used() { return LIPSocketTCP(open("/dev/null", O_RDWR | O_CLOEXEC)); }

  const LoopbackPort port_;
  LIPSocketTCP socket_;
  StopAtQuestion process_;
};

int OptionOf(int descriptor, int option) {
  int value = 0;
  socklen_t size = sizeof value;
  getsockopt(descriptor, SOL_SOCKET, option, &value, &size);
  return value;
}

TEST_F(SocketConnect, ConnectsASocketThatIsSetUp) {
  ASSERT_EQ(ProcessConnect(process_, socket_, port_.Address(), kLongMs), 0u);
  const LIPSocketTCP peer = port_.Accept();
  EXPECT_EQ(fcntl(socket_.Descriptor(), F_GETFL) & O_NONBLOCK, O_NONBLOCK);
  EXPECT_EQ(fcntl(socket_.Descriptor(), F_GETFD), FD_CLOEXEC);
  const LIPSocketTCP other(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const int size = 32768;
  setsockopt(other.Descriptor(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
  EXPECT_EQ(OptionOf(socket_.Descriptor(), SO_SNDBUF), OptionOf(other.Descriptor(), SO_SNDBUF));
  EXPECT_EQ(ProcessSend(process_, socket_, "x", 1, kLongMs), 0u);
  unsigned char byte = 0;
  EXPECT_EQ(ProcessRecvByte(process_, peer, byte, kLongMs), 0u);
  EXPECT_EQ(byte, 'x');
}

TEST_F(SocketConnect, AConnectionThatIsThereIsDoneAlthoughItIsToStop) {
  process_.stop = true;
  EXPECT_EQ(ProcessConnect(process_, socket_, port_.Address(), kLongMs), 0u);
  EXPECT_EQ(process_.asked, 0);
}

TEST_F(SocketConnect, WhatTheSocketHeldIsClosed) {
  socket_ = Used();
  const LIPSocketTCP kept(fcntl(socket_.Descriptor(), F_DUPFD_CLOEXEC, 0));
  const int before = socket_.Descriptor();
  EXPECT_EQ(ProcessConnect(process_, socket_, port_.Address(), kLongMs), 0u);
  EXPECT_EQ(socket_.Descriptor(), before) << "the lowest number was free again";
}

TEST_F(SocketConnect, AnUnresolvedAddressIsTwoAtOnce) {
  socket_ = Used();
  const int before = socket_.Descriptor();
  const Stopwatch watch;
  EXPECT_EQ(ProcessConnect(process_, socket_, LIPAddressWithPort(0xFFFFFFFF, port_.Number()), kLongMs), 2u);
  EXPECT_EQ(socket_.Descriptor(), -1);
  EXPECT_EQ(fcntl(before, F_GETFD), -1);
  EXPECT_EQ(process_.asked, 0);
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

// A refused connect is writable, and nobody asks for the error.
TEST_F(SocketConnect, ARefusedConnectionIsFoundByItsFirstUse) {
  const support::BoundPort closed;
  const LIPAddressWithPort address = closed.Address();
  ASSERT_EQ(ProcessConnect(process_, socket_, address, kLongMs), 0u);
  unsigned char byte;
  EXPECT_EQ(ProcessRecvByte(process_, socket_, byte, kLongMs), 2u);
  EXPECT_EQ(ProcessConnect(process_, socket_, address, kLongMs), 0u);
  EXPECT_EQ(ProcessSend(process_, socket_, "x", 1, kLongMs), 2u);
}

TEST_F(SocketConnect, TimeIsSpentInSlicesWithAQuestionAfterEach) {
  const SilentPort silent;
  struct Case {
    unsigned int timeout;
    int slices;
  };
  for (const auto& one : {Case{0, 1}, Case{200, 1}, Case{201, 2}}) {
    SCOPED_TRACE(one.timeout);
    socket_ = Used();
    process_.asked = 0;
    const Stopwatch watch;
    EXPECT_EQ(ProcessConnect(process_, socket_, silent.Address(), one.timeout), 2u);
    EXPECT_EQ(socket_.Descriptor(), -1);
    EXPECT_EQ(process_.asked, one.slices);
    EXPECT_GE(watch.Ms() + 1, one.slices * 200);
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

TEST_F(SocketConnect, AStopRequestClosesTheSocketAndIsOne) {
  const SilentPort silent;
  socket_ = Used();
  StopAtQuestion second(2);
  const Stopwatch watch;
  EXPECT_EQ(ProcessConnect(second, socket_, silent.Address(), kLongMs), 1u);
  EXPECT_EQ(socket_.Descriptor(), -1);
  EXPECT_GE(watch.Ms() + 1, 400);
  EXPECT_LT(watch.Ms(), kSoonMs);
  // Stop wins over the end of the time.
  StopAtQuestion first(1);
  EXPECT_EQ(ProcessConnect(first, socket_, silent.Address(), 0), 1u);
}

TEST_F(SocketConnect, DescriptorsBeyondThoseOfSelectWork) {
  const SilentPort silent;
  const support::LowDescriptorsTaken taken;
  ASSERT_EQ(ProcessConnect(process_, socket_, port_.Address(), kLongMs), 0u);
  EXPECT_GT(socket_.Descriptor(), 1023);
  EXPECT_EQ(ProcessConnect(process_, socket_, silent.Address(), 0), 2u);
}

// --- Several addresses ---

TEST_F(SocketConnect, WithoutAddressesTheSocketIsLeftAlone) {
  socket_ = Used();
  const int before = socket_.Descriptor();
  EXPECT_EQ(ProcessConnect(process_, socket_, LIPAddressMultiHomedWithPort(port_.Number(), 0, nullptr), kLongMs), 2u);
  EXPECT_EQ(socket_.Descriptor(), before);
}

TEST_F(SocketConnect, TheFirstAddressThatAnswersIsTaken) {
  const std::array<unsigned int, 4> addresses = {0xFFFFFFFF, 0xFFFFFFFF, kLoopback, 0xFFFFFFFF};
  ASSERT_EQ(ProcessConnect(process_, socket_,
                           LIPAddressMultiHomedWithPort(port_.Number(), addresses.size(), addresses.data()), kLongMs),
            0u);
  sockaddr_in peer = {};
  socklen_t size = sizeof peer;
  ASSERT_EQ(getpeername(socket_.Descriptor(), reinterpret_cast<sockaddr*>(&peer), &size), 0);
  EXPECT_EQ(peer.sin_addr.s_addr, kLoopback);
}

TEST_F(SocketConnect, WhenAllHaveFailedItIsTwo) {
  const std::array<unsigned int, 2> addresses = {0xFFFFFFFF, 0xFFFFFFFF};
  socket_ = Used();
  EXPECT_EQ(ProcessConnect(process_, socket_, LIPAddressMultiHomedWithPort(port_.Number(), 2, addresses.data()), 0),
            2u);
  EXPECT_EQ(socket_.Descriptor(), -1);
}

TEST_F(SocketConnect, EveryAddressHasTheWholeTime) {
  const SilentPort silent;
  const std::array<unsigned int, 2> addresses = {kLoopback, kLoopback};
  EXPECT_EQ(ProcessConnect(process_, socket_, LIPAddressMultiHomedWithPort(silent.Number(), 2, addresses.data()), 400),
            2u);
  EXPECT_EQ(process_.asked, 4);
}

TEST_F(SocketConnect, AfterAStopRequestNoOtherAddressIsTried) {
  const SilentPort silent;
  const std::array<unsigned int, 2> addresses = {kLoopback, kLoopback};
  StopAtQuestion first(1);
  EXPECT_EQ(ProcessConnect(first, socket_, LIPAddressMultiHomedWithPort(silent.Number(), 2, addresses.data()), kLongMs),
            1u);
  EXPECT_EQ(first.asked, 1);
  EXPECT_EQ(socket_.Descriptor(), -1);
}

}  // namespace
