// Receiving a number of bytes that may come in many parts.

#include <sys/socket.h>

#include <string>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tests/support/sockets.h>
#include <tests/support/waiting.h>
#include <tillvane/net/LProcessSocket.h>

namespace {

using support::Connection;
using support::GuardedText;
using support::kLongMs;
using support::Later;
using support::StopAtQuestion;

class SocketReceiveBytes : public testing::Test {
 protected:
  Connection connection_;
  StopAtQuestion process_;
};

TEST_F(SocketReceiveBytes, BytesWaitsForAllOfThem) {
  const std::string sent = "What comes in many small parts is one text.";
  const Later later(0, [&] {
    for (const char one : sent) {
      connection_.PeerWrites({one});
      support::SleepMs(1);
    }
  });
  GuardedText buffer(sent.size());
  unsigned long received = 77;
  EXPECT_EQ(ProcessRecvBytes(process_, connection_.ours, buffer.Get(), sent.size(), received, kLongMs), 0u);
  EXPECT_EQ(received, sent.size());
  EXPECT_EQ(buffer.Bytes(), sent);
}

TEST_F(SocketReceiveBytes, NoBytesAreDoneWithoutAQuestion) {
  StopAtQuestion stopped(1);
  unsigned long received = 77;
  EXPECT_EQ(ProcessRecvBytes(stopped, LIPSocketTCP(), nullptr, 0, received, kLongMs), 0u);
  EXPECT_EQ(received, 0u);
  EXPECT_EQ(ProcessRecvAll(stopped, LIPSocketTCP(), nullptr, 0, received, kLongMs), 0u);
  EXPECT_EQ(stopped.asked, 0);
}

/// What is there, and then nothing more, the end or a stop request.
class SocketReceiveInPart : public SocketReceiveBytes {
 protected:
  struct Answer {
    unsigned int code;
    unsigned long received;
    std::string bytes;
  };
  template <class Function>
  Answer Receive(Function function, LProcessInterface& process, unsigned int timeout) {
    connection_.PeerSends("abc");
    GuardedText buffer(10);
    unsigned long received = 77;
    const unsigned int code = function(process, connection_.ours, buffer.Get(), 10, received, timeout);
    return {code, received, buffer.Bytes()};
  }

  static unsigned int Bytes(LProcessInterface& process, LIPSocketTCPRef socket, void* buffer, unsigned long length,
                            unsigned long& received, unsigned int timeout) {
    return ProcessRecvBytes(process, socket, buffer, length, received, timeout);
  }
};

TEST_F(SocketReceiveInPart, TheCountTellsWhatHasComeBeforeTheStopRequest) {
  StopAtQuestion third(3), third_of_all(3);
  const Answer bytes = Receive(Bytes, third, kLongMs);
  EXPECT_EQ(bytes.code, 1u);
  EXPECT_EQ(bytes.received, 3u);
  EXPECT_EQ(bytes.bytes, "abc" + std::string(7, GuardedText::kMark));
  const Answer all = Receive(ProcessRecvAll, third_of_all, kLongMs);
  EXPECT_EQ(all.code, 1u);
  EXPECT_EQ(all.received, 3u);
  EXPECT_EQ(all.bytes, "abc" + std::string(7, GuardedText::kMark));
}

TEST_F(SocketReceiveInPart, TheCountTellsWhatHasComeBeforeTheTimeWasOver) {
  const Answer bytes = Receive(Bytes, process_, 0);
  EXPECT_EQ(bytes.code, 2u);
  EXPECT_EQ(bytes.received, 3u);
  const Answer all = Receive(ProcessRecvAll, process_, 0);
  EXPECT_EQ(all.code, 0u) << "a failure as well";
  EXPECT_EQ(all.received, 3u);
}

TEST_F(SocketReceiveInPart, TheCountTellsWhatHasComeBeforeTheEnd) {
  connection_.PeerSends("0123456");
  const Answer whole = Receive(Bytes, process_, kLongMs);
  EXPECT_EQ(whole.code, 0u);
  EXPECT_EQ(whole.bytes, "0123456abc");
  connection_.PeerSends("x");
  connection_.peer.Close();
  char buffer[10];
  unsigned long received = 77;
  EXPECT_EQ(ProcessRecvBytes(process_, connection_.ours, buffer, sizeof buffer, received, kLongMs), 2u);
  EXPECT_EQ(received, 1u);
  EXPECT_EQ(ProcessRecvAll(process_, connection_.ours, buffer, sizeof buffer, received, kLongMs), 0u);
  EXPECT_EQ(received, 0u);
}

TEST_F(SocketReceiveBytes, AllOfACompleteTransferIsZero) {
  connection_.PeerSends("abc");
  char buffer[3];
  unsigned long received = 77;
  EXPECT_EQ(ProcessRecvAll(process_, connection_.ours, buffer, sizeof buffer, received, kLongMs), 0u);
  EXPECT_EQ(received, 3u);
  EXPECT_EQ(ProcessRecvAll(process_, LIPSocketTCP(), buffer, sizeof buffer, received, kLongMs), 0u);
  EXPECT_EQ(received, 0u);
}

}  // namespace
