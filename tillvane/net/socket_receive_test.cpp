#include <fcntl.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/guarded_text.h>
#include <tests/support/sockets.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LSignalObject.h>
#include <tillvane/net/LProcessSocket.h>

namespace {

using support::Connection;
using support::GuardedText;
using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::Later;
using support::StopAtQuestion;
using support::Stopwatch;

constexpr unsigned int kSliceMs = 200;

/// Every function that waits for something to receive, asked for one byte.
struct Receiver {
  const char* name;
  std::function<unsigned int(LProcessInterface&, LIPSocketTCPRef, unsigned int timeout)> receive;
};

const std::vector<Receiver> kReceivers = {
    {"ProcessWaitForDataOrClose",
     [](auto& process, auto socket, auto timeout) { return ProcessWaitForDataOrClose(process, socket, timeout); }},
    {"ProcessRecvReady",
     [](auto& process, auto socket, auto timeout) {
       char byte;
       unsigned long received = 77;
       const unsigned int code = ProcessRecvReady(process, socket, &byte, 1, received, timeout);
       EXPECT_EQ(received, code == 0 ? 1u : 0u);
       return code;
     }},
    {"ProcessRecvToCharacter",
     [](auto& process, auto socket, auto timeout) {
       char byte;
       unsigned long received = 77;
       const unsigned int code = ProcessRecvToCharacter(process, socket, &byte, 1, received, "\n", timeout);
       EXPECT_EQ(received, code == 0 ? 1u : 0u);
       return code;
     }},
    {"ProcessRecvByte",
     [](auto& process, auto socket, auto timeout) {
       unsigned char byte = 77;
       const unsigned int code = ProcessRecvByte(process, socket, byte, timeout);
       EXPECT_EQ(byte == 77, code != 0);
       return code;
     }},
    {"ProcessRecvBytes",
     [](auto& process, auto socket, auto timeout) {
       char byte;
       return ProcessRecvBytes(process, socket, &byte, 1, timeout);
     }},
    {"ProcessRecvBytes, counted",
     [](auto& process, auto socket, auto timeout) {
       char byte;
       unsigned long received = 77;
       const unsigned int code = ProcessRecvBytes(process, socket, &byte, 1, received, timeout);
       EXPECT_EQ(received, code == 0 ? 1u : 0u);
       return code;
     }},
};

class SocketReceive : public testing::Test {
 protected:
  Connection connection_;
  StopAtQuestion process_;
};

TEST_F(SocketReceive, WhatIsThereIsDoneAfterOneQuestion) {
  for (const Receiver& one : kReceivers) {
    SCOPED_TRACE(one.name);
    connection_.PeerSends("x");
    process_.asked = 0;
    EXPECT_EQ(one.receive(process_, connection_.ours, 0), 0u);
    EXPECT_EQ(process_.asked, 1);
    connection_.TakeRest();
  }
}

TEST_F(SocketReceive, AStopRequestIsOneAlthoughSomethingIsThere) {
  connection_.PeerSends("x");
  for (const Receiver& one : kReceivers) {
    StopAtQuestion stopped(1);
    EXPECT_EQ(one.receive(stopped, connection_.ours, kLongMs), 1u) << one.name;
  }
  EXPECT_EQ(connection_.TakeRest(), "x");
}

TEST_F(SocketReceive, NoDescriptorIsTwoUnlessItIsToStop) {
  const Stopwatch watch;
  for (const Receiver& one : kReceivers) {
    StopAtQuestion stopped(1);
    EXPECT_EQ(one.receive(process_, LIPSocketTCP(), kLongMs), 2u) << one.name;
    EXPECT_EQ(one.receive(process_, LIPSocketTCPRef(-2), kLongMs), 2u) << one.name;
    EXPECT_EQ(one.receive(stopped, LIPSocketTCP(), kLongMs), 1u) << one.name;
  }
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

// The wait itself says that there is something: what, the next receive finds out.
TEST_F(SocketReceive, ADescriptorThatIsClosedIsTwoAtOnce) {
  const LIPSocketTCPRef closed(900);
  const Stopwatch watch;
  for (const Receiver& one : kReceivers) {
    const bool only_waits = &one == kReceivers.data();
    EXPECT_EQ(one.receive(process_, closed, kLongMs), only_waits ? 0u : 2u) << one.name;
  }
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST_F(SocketReceive, APeerThatHasClosedIsTwoAfterItsLastByte) {
  connection_.PeerSends("x");
  connection_.peer.Close();
  unsigned char byte = 0;
  EXPECT_EQ(ProcessRecvByte(process_, connection_.ours, byte, kLongMs), 0u);
  EXPECT_EQ(byte, 'x');
  const Stopwatch watch;
  for (const Receiver& one : kReceivers) {
    const bool only_waits = &one == kReceivers.data();
    EXPECT_EQ(one.receive(process_, connection_.ours, kLongMs), only_waits ? 0u : 2u) << one.name;
  }
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST_F(SocketReceive, AConnectionThatWasResetIsTwo) {
  for (const Receiver& one : kReceivers) {
    Connection connection;
    connection.PeerResets();
    const Stopwatch watch;
    const bool only_waits = &one == kReceivers.data();
    EXPECT_EQ(one.receive(process_, connection.ours, kLongMs), only_waits ? 0u : 2u) << one.name;
    EXPECT_LT(watch.Ms(), kAtOnceMs);
  }
}

TEST_F(SocketReceive, TimeIsSpentInSlicesWithAQuestionBeforeEach) {
  struct Case {
    unsigned int timeout;
    int slices;
  };
  for (const auto& one : {Case{0, 1}, Case{200, 1}, Case{201, 2}}) {
    SCOPED_TRACE(one.timeout);
    process_.asked = 0;
    const Stopwatch watch;
    EXPECT_EQ(ProcessWaitForDataOrClose(process_, connection_.ours, one.timeout), 2u);
    EXPECT_EQ(process_.asked, one.slices);
    EXPECT_GE(watch.Ms() + 1, one.slices * static_cast<long long>(kSliceMs));
    EXPECT_LT(watch.Ms(), kSoonMs);
  }
  for (const Receiver& one : kReceivers) {
    process_.asked = 0;
    EXPECT_EQ(one.receive(process_, connection_.ours, 0), 2u) << one.name;
    EXPECT_EQ(process_.asked, 1) << one.name;
  }
}

TEST_F(SocketReceive, AStopRequestIsSeenAfterTheSliceThatRuns) {
  for (const Receiver& one : kReceivers) {
    StopAtQuestion third(3);
    const Stopwatch watch;
    EXPECT_EQ(one.receive(third, connection_.ours, kLongMs), 1u) << one.name;
    EXPECT_GE(watch.Ms() + 1, 2 * static_cast<long long>(kSliceMs)) << one.name;
    EXPECT_LT(watch.Ms(), kSoonMs) << one.name;
  }
}

TEST_F(SocketReceive, WhatComesEndsTheWaitAtOnce) {
  for (const Receiver& one : kReceivers) {
    SCOPED_TRACE(one.name);
    const Later later(20, [&] { connection_.PeerWrites("x"); });
    process_.asked = 0;
    EXPECT_EQ(one.receive(process_, connection_.ours, kLongMs), 0u);
    EXPECT_LT(process_.asked, 20);
    connection_.TakeRest();
  }
}

// What a wait finds by itself is the same as for a socket that can be read at once.
TEST_F(SocketReceive, APipeAndAListeningSocketAreWaitedForAndThenFail) {
  const LSignalObject pipe;
  const support::LoopbackPort port;
  for (const int descriptor : {pipe.filedes[0], port.Descriptor()}) {
    for (const Receiver& one : kReceivers) {
      StopAtQuestion second(2);
      EXPECT_EQ(one.receive(second, LIPSocketTCPRef(descriptor), kLongMs), 1u) << one.name;
    }
  }
  pipe.Signal();
  char byte;
  unsigned long received;
  EXPECT_EQ(ProcessRecvReady(process_, LIPSocketTCPRef(pipe.filedes[0]), &byte, 1, received, kLongMs), 2u);
}

TEST_F(SocketReceive, ABlockingSocketDoesNotBlock) {
  const LIPSocketTCP& blocking = connection_.peer;
  ASSERT_EQ(fcntl(blocking.Descriptor(), F_GETFL) & O_NONBLOCK, 0);
  for (const Receiver& one : kReceivers) EXPECT_EQ(one.receive(process_, blocking, 0), 2u) << one.name;
}

TEST_F(SocketReceive, DescriptorsBeyondThoseOfSelectWork) {
  const support::LowDescriptorsTaken taken;
  const Connection high;
  ASSERT_GT(high.ours.Descriptor(), 1023);
  EXPECT_EQ(ProcessWaitForDataOrClose(process_, high.ours, 0), 2u);
  for (const Receiver& one : kReceivers) {
    const Later later(20, [&] { high.PeerWrites("x"); });
    EXPECT_EQ(one.receive(process_, high.ours, kLongMs), 0u) << one.name;
    high.TakeRest();
  }
}

// --- ProcessRecvReady ---

TEST_F(SocketReceive, RoomForNothingIsDoneWithoutAQuestion) {
  StopAtQuestion stopped(1);
  unsigned long received = 77;
  EXPECT_EQ(ProcessRecvReady(stopped, LIPSocketTCP(), nullptr, 0, received, kLongMs), 0u);
  EXPECT_EQ(received, 0u);
  EXPECT_EQ(stopped.asked, 0);
}

TEST_F(SocketReceive, ReadyReceivesWhatIsThereAndNoMoreThanThereIsRoomFor) {
  connection_.PeerSends("abcde");
  unsigned long received = 77;
  GuardedText three(3);
  EXPECT_EQ(ProcessRecvReady(process_, connection_.ours, three.Get(), 3, received, kLongMs), 0u);
  EXPECT_EQ(received, 3u);
  EXPECT_EQ(three.Bytes(), "abc");
  GuardedText ten(10);
  EXPECT_EQ(ProcessRecvReady(process_, connection_.ours, ten.Get(), 10, received, kLongMs), 0u);
  EXPECT_EQ(received, 2u);
  EXPECT_EQ(ten.Bytes(), "de" + std::string(8, GuardedText::kMark));
}

// --- ProcessRecvToCharacter ---

TEST_F(SocketReceive, ToCharacterTakesTheFirstTerminatorAndLeavesTheRest) {
  using namespace std::string_literals;
  struct Case {
    std::string queued;
    const char* terminators;
    unsigned long capacity;
    std::string received;
  };
  const std::vector<Case> cases = {
      {"ab\nc", "\r\n", 100, "ab\n"},
      {"ab\r\nc", "\r\n", 100, "ab\r"},
      {"\n\nabc", "\n", 100, "\n"},
      {"abc\n", "\n", 100, "abc\n"},
      {"abc\n", "\n", 4, "abc\n"},
      {"abc\n", "\n", 3, "abc"},
      {"abc\n", "\n", 1, "a"},
      {"abc", "\n", 100, "abc"},
      {"abc", "", 100, "abc"},
      {"cba", "abc", 100, "c"},
      {"a\0b\nc"s, "\n", 100, "a\0b\n"s},
      {"\0\0\0"s, "\n", 100, "\0\0\0"s},
      {"\0\0\0"s, "", 100, "\0\0\0"s},
      {"a\xFF\x80z", "\x80\xFE", 100, "a\xFF\x80"},
      {"a\x7F\xFFz", "\xFF", 100, "a\x7F\xFF"},
      {std::string(5000, 'x') + "\n" + std::string(5000, 'y'), "\n", 20000, std::string(5000, 'x') + "\n"},
  };
  for (const Case& one : cases) {
    SCOPED_TRACE(testing::PrintToString(one.queued.substr(0, 20)) + " to one of " +
                 testing::PrintToString(one.terminators) + ", " + std::to_string(one.capacity));
    connection_.PeerSends(one.queued);
    GuardedText buffer(one.capacity);
    unsigned long received = 77;
    EXPECT_EQ(ProcessRecvToCharacter(process_, connection_.ours, buffer.Get(), one.capacity, received, one.terminators,
                                     kLongMs),
              0u);
    EXPECT_EQ(buffer.Bytes().substr(0, received), one.received);
    EXPECT_EQ(connection_.TakeRest(), one.queued.substr(one.received.size()));
  }
}

TEST_F(SocketReceive, ToCharacterGivesALongLineInParts) {
  connection_.PeerSends("abcdefgh\nij");
  std::vector<std::string> parts;
  for (int i = 0; i < 4; ++i) {
    char buffer[4];
    unsigned long received;
    ASSERT_EQ(ProcessRecvToCharacter(process_, connection_.ours, buffer, sizeof buffer, received, "\n", kLongMs), 0u);
    parts.emplace_back(buffer, received);
  }
  EXPECT_EQ(parts, (std::vector<std::string>{"abcd", "efgh", "\n", "ij"}));
}

TEST_F(SocketReceive, ToCharacterWithoutASocketFailsAtOnce) {
  unsigned long received = 77;
  StopAtQuestion never;
  EXPECT_EQ(ProcessRecvToCharacter(never, LIPSocketTCPRef(-1), nullptr, 0, received, "\n", kLongMs), 2u);
  EXPECT_EQ(never.asked, 1);
  EXPECT_EQ(received, 0u);
}

TEST_F(SocketReceive, ToCharacterWithoutRoomWaitsAndFails) {
  unsigned long received = 77;
  StopAtQuestion second(2);
  EXPECT_EQ(ProcessRecvToCharacter(second, connection_.ours, nullptr, 0, received, "\n", kLongMs), 1u);
  EXPECT_EQ(ProcessRecvToCharacter(process_, connection_.ours, nullptr, 0, received, "\n", 0), 2u);
  connection_.PeerSends("ab\n");
  const Stopwatch watch;
  EXPECT_EQ(ProcessRecvToCharacter(process_, connection_.ours, nullptr, 0, received, "\n", kLongMs), 2u);
  EXPECT_LT(watch.Ms(), kAtOnceMs);
  EXPECT_EQ(received, 0u);
  EXPECT_EQ(connection_.TakeRest(), "ab\n");
}

// --- ProcessRecvByte ---

TEST_F(SocketReceive, ByteGivesEachByteAsItIs) {
  std::string all;
  for (int value = 0; value < 256; ++value) all += static_cast<char>(value);
  connection_.PeerSends(all);
  for (int value = 0; value < 256; ++value) {
    unsigned char byte = 77;
    ASSERT_EQ(ProcessRecvByte(process_, connection_.ours, byte, kLongMs), 0u);
    ASSERT_EQ(byte, value);
  }
}

}  // namespace
