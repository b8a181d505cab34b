// System calls that fail or are interrupted under sockets. The definitions here take the place of the C library's for
// everything that is linked into this program; nobody waits.

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tests/support/sockets.h>
#include <tillvane/net/LProcessSocket.h>

namespace {

// What a call does instead, while it is set.
support::Replacement<int()> on_socket{"socket"};
support::Replacement<int(pollfd* polled, int ms)> on_poll{"poll"};
support::Replacement<ssize_t(void* buffer, size_t size, int flags)> on_recv{"recv"};
support::Replacement<ssize_t(const void* data, size_t size, int flags)> on_send{"send"};
support::Replacement<int()> on_connect{"connect"};

using support::Next;

}  // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  return on_socket ? on_socket() : Next(&socket, "socket")(domain, type, protocol);
}

int poll(pollfd* polled, nfds_t count, int ms) {
  return on_poll && count == 1 ? on_poll(polled, ms) : Next(&poll, "poll")(polled, count, ms);
}

ssize_t recv(int descriptor, void* buffer, size_t size, int flags) {
  return on_recv ? on_recv(buffer, size, flags) : Next(&recv, "recv")(descriptor, buffer, size, flags);
}

ssize_t send(int descriptor, const void* data, size_t size, int flags) {
  return on_send ? on_send(data, size, flags) : Next(&send, "send")(descriptor, data, size, flags);
}

int connect(int descriptor, const sockaddr* address, socklen_t size) {
  return on_connect ? on_connect() : Next(&connect, "connect")(descriptor, address, size);
}

}  // extern "C"

namespace {

using support::StopAtQuestion;

constexpr unsigned int kTimeout = 1000;
constexpr int kSlices = 5;

int FailWith(int error) {
  errno = error;
  return -1;
}

int IsIdle(pollfd*, int ms) {
  EXPECT_EQ(ms, 200);
  return 0;
}

int IsReady(pollfd* polled, int) {
  polled->revents = polled->events;
  return 1;
}

/// A socket that is never used, because every call on it is replaced.
class SocketFault : public testing::Test {
 protected:
  ~SocketFault() override {
    on_socket = {};
    on_poll = {};
    on_recv = {};
    on_send = {};
    on_connect = {};
  }

  const LIPSocketTCPRef socket_{700};
  StopAtQuestion process_;
  unsigned long received_ = 77;
  char buffer_[8] = {};
};

// --- Receiving ---

class SocketFaultReceive : public SocketFault {
 protected:
  unsigned int Ready() { return ProcessRecvReady(process_, socket_, buffer_, sizeof buffer_, received_, kTimeout); }
  unsigned int ToCharacter() {
    return ProcessRecvToCharacter(process_, socket_, buffer_, sizeof buffer_, received_, "\n", kTimeout);
  }
};

TEST_F(SocketFaultReceive, WhatIsThereIsReceivedWithoutAWait) {
  on_poll = [](pollfd*, int) {
    ADD_FAILURE() << "a wait";
    return 0;
  };
  on_recv = [](void* buffer, size_t, int) {
    *static_cast<char*>(buffer) = '\n';
    return 1;
  };
  EXPECT_EQ(Ready(), 0u);
  EXPECT_EQ(ToCharacter(), 0u);
  EXPECT_EQ(process_.asked, 2);
}

TEST_F(SocketFaultReceive, AnyFailureIsTwoAtOnceButWhatAWaitDecides) {
  on_poll = IsIdle;
  for (const int error : {ECONNRESET, ENOBUFS, ENOMEM, EINTR, EBADF, EIO, ETIMEDOUT}) {
    SCOPED_TRACE(error);
    int calls = 0;
    on_recv = [&](void*, size_t, int) {
      ++calls;
      return FailWith(error);
    };
    EXPECT_EQ(Ready(), 2u);
    EXPECT_EQ(ToCharacter(), 2u);
    EXPECT_EQ(received_, 0u);
    EXPECT_EQ(calls, 2);
  }
}

TEST_F(SocketFaultReceive, RefusedItWaitsAndTriesOnceMore) {
  for (const int error : {EAGAIN, ENOTCONN, ENOTSOCK}) {
    SCOPED_TRACE(error);
    std::string calls;
    on_poll = [&](pollfd* polled, int ms) {
      calls += 'p';
      EXPECT_EQ(polled->events, POLLIN);
      return calls.size() < 4 ? IsIdle(polled, ms) : IsReady(polled, ms);
    };
    on_recv = [&](void*, size_t, int) {
      calls += 'r';
      return calls.size() == 1 ? FailWith(error) : 3;
    };
    EXPECT_EQ(Ready(), 0u);
    EXPECT_EQ(received_, 3u);
    EXPECT_EQ(calls, "rpppr");
  }
}

// Ready, and still nothing there: a failure, as a close is.
TEST_F(SocketFaultReceive, RefusedAfterTheWaitItIsTwo) {
  on_poll = IsReady;
  on_recv = [](void*, size_t, int) { return FailWith(EAGAIN); };
  EXPECT_EQ(Ready(), 2u);
  EXPECT_EQ(ToCharacter(), 2u);
  EXPECT_EQ(ProcessWaitForDataOrClose(process_, socket_, kTimeout), 0u);
}

TEST_F(SocketFaultReceive, AWaitThatFailsCountsAsReady) {
  for (const int error : {EINTR, EINVAL, ENOMEM}) {
    SCOPED_TRACE(error);
    process_.asked = 0;
    on_poll = [&](pollfd*, int) { return FailWith(error); };
    EXPECT_EQ(ProcessWaitForDataOrClose(process_, socket_, kTimeout), 0u);
    bool was_refused = false;
    on_recv = [&](void*, size_t, int) { return std::exchange(was_refused, true) ? 3 : FailWith(EAGAIN); };
    EXPECT_EQ(Ready(), 0u);
    on_recv = [](void*, size_t, int) { return FailWith(EAGAIN); };
    EXPECT_EQ(Ready(), 2u);
    EXPECT_EQ(process_.asked, 3);
  }
}

TEST_F(SocketFaultReceive, TimeIsSpentInSlicesWithAQuestionBeforeEach) {
  on_poll = IsIdle;
  on_recv = [](void*, size_t, int) { return FailWith(EAGAIN); };
  EXPECT_EQ(Ready(), 2u);
  EXPECT_EQ(process_.asked, kSlices);
  EXPECT_EQ(ToCharacter(), 2u);
  EXPECT_EQ(process_.asked, 2 * kSlices);
  EXPECT_EQ(ProcessWaitForDataOrClose(process_, socket_, kTimeout), 2u);
  EXPECT_EQ(process_.asked, 3 * kSlices);
}

// The largest time wraps, and is no shorter for that.
TEST_F(SocketFaultReceive, TheLargestTimeDoesNotEnd) {
  on_poll = IsIdle;
  StopAtQuestion late(100000);
  EXPECT_EQ(ProcessWaitForDataOrClose(late, socket_, 0xFFFFFFFF), 1u);
}

TEST_F(SocketFaultReceive, EachWaitForMoreBytesHasTheWholeTime) {
  int idle = 0;
  on_poll = [&](pollfd* polled, int ms) { return ++idle % kSlices == 0 ? IsReady(polled, ms) : IsIdle(polled, ms); };
  bool is_there = false;
  size_t left = sizeof buffer_;
  on_recv = [&](void* buffer, size_t size, int) {
    EXPECT_EQ(size, left) << "no more than there is room for";
    is_there = !is_there;
    if (is_there) return FailWith(EAGAIN);
    *static_cast<char*>(buffer) = 'x';
    --left;
    return 1;
  };
  EXPECT_EQ(ProcessRecvBytes(process_, socket_, buffer_, sizeof buffer_, received_, kTimeout), 0u);
  EXPECT_EQ(received_, sizeof buffer_);
  EXPECT_EQ(std::string(buffer_, sizeof buffer_), "xxxxxxxx");
  EXPECT_EQ(process_.asked, kSlices * static_cast<int>(sizeof buffer_));
}

TEST_F(SocketFaultReceive, ToCharacterPeeksAndTakesWhatItGives) {
  std::vector<std::pair<size_t, bool>> calls;
  on_recv = [&](void* buffer, size_t size, int flags) -> ssize_t {
    calls.emplace_back(size, (flags & MSG_PEEK) != 0);
    std::memcpy(buffer, "ab\ncdefg", size);
    return static_cast<ssize_t>(size);
  };
  EXPECT_EQ(ToCharacter(), 0u);
  EXPECT_EQ(received_, 3u);
  EXPECT_EQ(calls, (std::vector<std::pair<size_t, bool>>{{8, true}, {3, false}}));
}

// Some systems answer at once to who asks for nothing.
TEST_F(SocketFaultReceive, ToCharacterWithoutRoomWaitsFirst) {
  std::string calls;
  on_poll = [&](pollfd* polled, int ms) {
    calls += 'p';
    return IsReady(polled, ms);
  };
  on_recv = [&](void*, size_t, int) {
    calls += 'r';
    return 0;
  };
  EXPECT_EQ(ProcessRecvToCharacter(process_, socket_, buffer_, 0, received_, "\n", kTimeout), 2u);
  EXPECT_EQ(calls, "pr");
}

// The bytes were seen: whatever taking them away answers, they have come.
TEST_F(SocketFaultReceive, ToCharacterDoesNotAskWhetherTheyWereTakenAway) {
  on_recv = [](void* buffer, size_t, int flags) {
    if ((flags & MSG_PEEK) == 0) return FailWith(ECONNRESET);
    std::memcpy(buffer, "a\n", 2);
    return 2;
  };
  EXPECT_EQ(ToCharacter(), 0u);
  EXPECT_EQ(received_, 2u);
  EXPECT_EQ(std::string(buffer_, 2), "a\n");
}

// --- Sending ---

class SocketFaultSend : public SocketFault {
 protected:
  unsigned int Send() { return ProcessSend(process_, socket_, "0123456789", 10, kTimeout); }
};

TEST_F(SocketFaultSend, NoSignalIsRaised) {
  on_send = [](const void*, size_t size, int flags) {
    EXPECT_NE(flags & MSG_NOSIGNAL, 0);
    return static_cast<ssize_t>(size);
  };
  EXPECT_EQ(Send(), 0u);
}

TEST_F(SocketFaultSend, APartIsFollowedByAWaitAndTheRest) {
  std::string sent;
  int waits = 0;
  on_poll = [&](pollfd* polled, int ms) {
    ++waits;
    EXPECT_EQ(polled->events, POLLOUT);
    EXPECT_EQ(ms, 200);
    return IsReady(polled, ms);
  };
  on_send = [&](const void* data, size_t size, int) {
    const size_t part = size < 4 ? size : 4;
    sent.append(static_cast<const char*>(data), part);
    return static_cast<ssize_t>(part);
  };
  EXPECT_EQ(Send(), 0u);
  EXPECT_EQ(sent, "0123456789");
  EXPECT_EQ(waits, 2);
  EXPECT_EQ(process_.asked, 3);
}

TEST_F(SocketFaultSend, RefusedItWaitsInSlicesWithAQuestionBeforeEach) {
  on_poll = IsIdle;
  on_send = [](const void*, size_t, int) { return FailWith(EAGAIN); };
  EXPECT_EQ(Send(), 2u);
  EXPECT_EQ(process_.asked, kSlices);
}

TEST_F(SocketFaultSend, WhatWasSentDoesNotRenewTheTime) {
  on_poll = IsIdle;
  on_send = [](const void*, size_t, int) { return 1; };
  EXPECT_EQ(Send(), 2u);
  EXPECT_EQ(process_.asked, kSlices);
}

TEST_F(SocketFaultSend, ASliceThatEndsEarlyIsNotSpent) {
  on_poll = IsReady;
  int calls = 0;
  on_send = [&](const void*, size_t, int) { return ++calls < 100 ? FailWith(EAGAIN) : 10; };
  EXPECT_EQ(Send(), 0u);
  EXPECT_EQ(process_.asked, 100);
}

TEST_F(SocketFaultSend, AnyOtherFailureIsTwoAtOnce) {
  for (const int error : {EINTR, ENOBUFS, ENOMEM, EPIPE, ECONNRESET, ENOTCONN, EBADF}) {
    on_send = [&](const void*, size_t, int) { return FailWith(error); };
    EXPECT_EQ(Send(), 2u) << error;
  }
  EXPECT_EQ(process_.asked, 7);
}

TEST_F(SocketFaultSend, AWaitThatFailsIsTwo) {
  on_send = [](const void*, size_t, int) { return FailWith(EAGAIN); };
  for (const int error : {EINTR, EINVAL, ENOMEM}) {
    on_poll = [&](pollfd*, int) { return FailWith(error); };
    EXPECT_EQ(Send(), 2u) << error;
  }
  EXPECT_EQ(process_.asked, 3);
}

// --- Connecting ---

class SocketFaultConnect : public SocketFault {
 protected:
  /// The answer, and whether a socket is held after it: the two have to agree.
  unsigned int Connect(const LIPAddressWithPort& address = {support::kLoopback, 9}) {
    const unsigned int code = ProcessConnect(process_, ours_, address, kTimeout);
    EXPECT_EQ(ours_.Descriptor() >= 0, code == 0);
    return code;
  }
  LIPSocketTCP ours_;
};

TEST_F(SocketFaultConnect, AConnectionThatIsThereAtOnceIsDoneWithoutAWait) {
  on_poll = [](pollfd*, int) {
    ADD_FAILURE() << "a wait";
    return 0;
  };
  on_connect = [] { return 0; };
  EXPECT_EQ(Connect(), 0u);
  EXPECT_EQ(process_.asked, 0);
}

TEST_F(SocketFaultConnect, AnyFailureButOneUnderWayIsTwo) {
  on_poll = IsReady;
  for (const int error : {ECONNREFUSED, ENETUNREACH, EINTR, EAGAIN, EADDRNOTAVAIL, ENOBUFS, EACCES}) {
    on_connect = [&] { return FailWith(error); };
    EXPECT_EQ(Connect(), 2u) << error;
  }
  on_connect = [] { return FailWith(EINPROGRESS); };
  EXPECT_EQ(Connect(), 0u);
}

TEST_F(SocketFaultConnect, NobodyConnectsToAnUnresolvedAddress) {
  on_connect = [] {
    ADD_FAILURE() << "a connect";
    return 0;
  };
  EXPECT_EQ(Connect({0xFFFFFFFF, 9}), 2u);
  const unsigned int addresses[] = {0xFFFFFFFF, 0xFFFFFFFF};
  EXPECT_EQ(ProcessConnect(process_, ours_, LIPAddressMultiHomedWithPort(9, 2, addresses), kTimeout), 2u);
}

TEST_F(SocketFaultConnect, WithoutADescriptorItIsTwo) {
  const support::LoopbackPort port;
  for (const int error : {EMFILE, ENFILE, ENOBUFS, ENOMEM}) {
    on_socket = [&] { return FailWith(error); };
    EXPECT_EQ(Connect(port.Address()), 2u) << error;
    on_socket = {};
  }
}

TEST_F(SocketFaultConnect, TheWaitDecidesByWhatIsReady) {
  struct Case {
    short events;
    unsigned int code;
  };
  on_connect = [] { return FailWith(EINPROGRESS); };
  for (const auto& one : {Case{POLLOUT, 0}, Case{POLLPRI, 2}, Case{POLLOUT | POLLPRI, 0}, Case{POLLERR, 0},
                          Case{POLLOUT | POLLERR | POLLHUP, 0}, Case{POLLHUP, 2}, Case{POLLNVAL, 2}}) {
    on_poll = [&](pollfd* polled, int ms) {
      EXPECT_EQ(polled->events, POLLOUT | POLLPRI);
      EXPECT_EQ(ms, 200);
      polled->revents = one.events;
      return 1;
    };
    EXPECT_EQ(Connect(), one.code) << one.events;
  }
  EXPECT_EQ(process_.asked, 0);
}

TEST_F(SocketFaultConnect, AWaitThatFailsIsTwo) {
  on_connect = [] { return FailWith(EINPROGRESS); };
  for (const int error : {EINTR, EINVAL, ENOMEM}) {
    on_poll = [&](pollfd*, int) { return FailWith(error); };
    EXPECT_EQ(Connect(), 2u) << error;
  }
  EXPECT_EQ(process_.asked, 0);
}

TEST_F(SocketFaultConnect, TimeIsSpentInSlicesWithAQuestionAfterEach) {
  on_connect = [] { return FailWith(EINPROGRESS); };
  int slices = 0;
  on_poll = [&](pollfd* polled, int ms) {
    EXPECT_EQ(process_.asked, slices);
    ++slices;
    return IsIdle(polled, ms);
  };
  EXPECT_EQ(Connect(), 2u);
  EXPECT_EQ(slices, kSlices);
  EXPECT_EQ(process_.asked, kSlices);
}

TEST_F(SocketFaultConnect, AStopRequestAfterASliceIsOne) {
  on_connect = [] { return FailWith(EINPROGRESS); };
  on_poll = IsIdle;
  process_.stop = true;
  EXPECT_EQ(Connect(), 1u);
  EXPECT_EQ(process_.asked, 1);
}

TEST_F(SocketFaultConnect, AddressesAreTriedUntilOneAnswers) {
  int calls = 0;
  on_connect = [&] { return ++calls < 3 ? FailWith(ECONNREFUSED) : 0; };
  const unsigned int addresses[] = {1, 2, 3, 4};
  EXPECT_EQ(ProcessConnect(process_, ours_, LIPAddressMultiHomedWithPort(9, 4, addresses), kTimeout), 0u);
  EXPECT_EQ(calls, 3);
}

}  // namespace
