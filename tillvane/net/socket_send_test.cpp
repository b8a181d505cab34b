#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/sockets.h>
#include <tests/support/waiting.h>
#include <tillvane/net/LProcessSocket.h>

namespace {

using support::Connection;
using support::FullConnection;
using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::Later;
using support::ReadAll;
using support::StopAtQuestion;
using support::Stopwatch;

class SocketSend : public testing::Test {
 protected:
  Connection connection_;
  StopAtQuestion process_;
};

TEST_F(SocketSend, WhatFitsIsSentAfterOneQuestion) {
  EXPECT_EQ(ProcessSend(process_, connection_.ours, "abc", 3, 0), 0u);
  EXPECT_EQ(process_.asked, 1);
  connection_.ours.Close();
  EXPECT_EQ(ReadAll(connection_.peer), "abc");
}

TEST_F(SocketSend, MuchIsSentInPartsWhileThePeerReads) {
  std::string sent;
  for (unsigned int i = 0; sent.size() < 500'000; ++i) sent += std::to_string(i) + " ";
  std::string received;
  {
    const Later reader(0, [&] { received = ReadAll(connection_.peer); });
    EXPECT_EQ(ProcessSend(process_, connection_.ours, sent.data(), sent.size(), kLongMs), 0u);
    connection_.ours.Close();
  }
  EXPECT_TRUE(received == sent) << received.size() << " of " << sent.size();
}

TEST_F(SocketSend, AStopRequestIsOneAndSendsNothing) {
  StopAtQuestion stopped(1);
  EXPECT_EQ(ProcessSend(stopped, connection_.ours, "abc", 3, kLongMs), 1u);
  EXPECT_EQ(ProcessSend(stopped, connection_.ours, "d", 1, kLongMs), 0u);
  connection_.ours.Close();
  EXPECT_EQ(ReadAll(connection_.peer), "d");
}

TEST_F(SocketSend, AStopRequestEndsAWait) {
  const FullConnection full;
  StopAtQuestion third(3);
  const Stopwatch watch;
  EXPECT_EQ(ProcessSend(third, full.ours, "abc", 3, kLongMs), 1u);
  EXPECT_GE(watch.Ms() + 1, 400);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(SocketSend, TimeIsSpentInSlicesWithAQuestionBeforeEach) {
  const FullConnection full;
  struct Case {
    unsigned int timeout;
    int slices;
  };
  for (const auto& one : {Case{0, 1}, Case{200, 1}, Case{201, 2}}) {
    SCOPED_TRACE(one.timeout);
    process_.asked = 0;
    const Stopwatch watch;
    EXPECT_EQ(ProcessSend(process_, full.ours, "abc", 3, one.timeout), 2u);
    EXPECT_EQ(process_.asked, one.slices);
    EXPECT_GE(watch.Ms() + 1, one.slices * 200);
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
}

TEST_F(SocketSend, APeerThatReadsEndsTheWait) {
  FullConnection full;
  const Later reader(20, [&] { ReadAll(full.peer); });
  EXPECT_EQ(ProcessSend(process_, full.ours, "abc", 3, kLongMs), 0u);
  EXPECT_LT(process_.asked, 20);
  full.ours.Close();
}

TEST_F(SocketSend, NothingIsSentWhereThereIsAConnection) {
  EXPECT_EQ(ProcessSend(process_, connection_.ours, "", 0, kLongMs), 0u);
  EXPECT_EQ(process_.asked, 1);
  StopAtQuestion stopped(1);
  EXPECT_EQ(ProcessSend(stopped, connection_.ours, "", 0, kLongMs), 1u);
  EXPECT_EQ(ProcessSend(process_, LIPSocketTCP(), "", 0, kLongMs), 2u);
}

TEST_F(SocketSend, NoDescriptorIsTwoUnlessItIsToStop) {
  const Stopwatch watch;
  StopAtQuestion stopped(1);
  EXPECT_EQ(ProcessSend(process_, LIPSocketTCP(), "abc", 3, kLongMs), 2u);
  EXPECT_EQ(ProcessSend(process_, LIPSocketTCPRef(900), "abc", 3, kLongMs), 2u);
  EXPECT_EQ(ProcessSend(stopped, LIPSocketTCP(), "abc", 3, kLongMs), 1u);
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST_F(SocketSend, AClosedPeerIsTwoAndNoSignal) {
  const support::HandlerScope ends_the_process(SIGPIPE, SIG_DFL);
  connection_.PeerResets();
  EXPECT_TRUE(support::WaitUntil([&] { return ProcessSend(process_, connection_.ours, "abc", 3, 0) == 2; }));
  EXPECT_EQ(ProcessSend(process_, connection_.ours, "abc", 3, kLongMs), 2u);
}

TEST_F(SocketSend, APeerThatGoesEndsTheWait) {
  const std::vector<char> much(10'000'000, '#');
  const Later later(20, [&] { connection_.PeerResets(); });
  const Stopwatch watch;
  EXPECT_EQ(ProcessSend(process_, connection_.ours, much.data(), much.size(), kLongMs), 2u);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(SocketSend, ABlockingSocketDoesNotBlock) {
  const FullConnection full;
  ASSERT_EQ(fcntl(full.ours.Descriptor(), F_GETFL) & O_NONBLOCK, 0);
  EXPECT_EQ(ProcessSend(process_, full.ours, "abc", 3, 0), 2u);
}

TEST_F(SocketSend, DescriptorsBeyondThoseOfSelectWork) {
  const support::LowDescriptorsTaken taken;
  FullConnection full;
  ASSERT_GT(full.ours.Descriptor(), 1023);
  EXPECT_EQ(ProcessSend(process_, full.ours, "abc", 3, 0), 2u);
  const Later reader(20, [&] { ReadAll(full.peer); });
  EXPECT_EQ(ProcessSend(process_, full.ours, "abc", 3, kLongMs), 0u);
  full.ours.Close();
}

}  // namespace
