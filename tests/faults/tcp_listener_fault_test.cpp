// System calls that fail or are interrupted under a listener. The definitions here take the place of the C library's
// for everything that is linked into this program.

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/listeners.h>
#include <tests/support/next_definition.h>
#include <tests/support/sockets.h>
#include <tests/support/waiting.h>
#include <tillvane/net/LTCPListener.h>

namespace {

/// Makes some calls fail: so many of those to come, with this error.
struct Failing {
  std::atomic<int> calls{0};
  std::atomic<int> error{0};

  bool IsNext(const char* call = __builtin_FUNCTION()) {
    int left = calls;
    while (left > 0 && !calls.compare_exchange_weak(left, left - 1)) {
    }
    if (left > 0) support::FailNoted(error, call);
    return left > 0;
  }
};

Failing sockets, options, binds, listens, accepts, waits;
/// Which of the next pipes cannot be had: a bit for each, the lowest first.
unsigned int missing_pipes = 0;
std::atomic<int> listening_descriptor{-1}, backlog{0}, accept_calls{0}, accepts_from{-1}, wait_calls{0};
/// The listener's wait finds a connection together with a stop request as often as this says.
std::atomic<int> both_ready{0};

/// Does the listener wait here for a connection?
bool IsListening(int descriptor) {
  int listens = 0;
  socklen_t size = sizeof listens;
  return getsockopt(descriptor, SOL_SOCKET, SO_ACCEPTCONN, &listens, &size) == 0 && listens != 0;
}

using support::Next;

// Apart from its caller: g++ has it from the C library that poll only writes there.
[[gnu::noinline]] int Wait(pollfd* polled, nfds_t count, int ms) {
  if (IsListening(polled[0].fd)) {
    ++wait_calls;
    if (waits.IsNext("poll")) return -1;
    if (both_ready > 0) {
      // The connection has to be there.
      Next(&poll, "poll")(polled, 1, -1);
      --both_ready;
      polled[0].revents = polled[1].revents = POLLIN;
      return 2;
    }
  }
  return Next(&poll, "poll")(polled, count, ms);
}

}  // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  return sockets.IsNext() ? -1 : Next(&socket, "socket")(domain, type, protocol);
}

int setsockopt(int descriptor, int level, int name, const void* value, socklen_t size) noexcept {
  if (name == SO_REUSEADDR && options.IsNext()) return -1;
  return Next(&setsockopt, "setsockopt")(descriptor, level, name, value, size);
}

int bind(int descriptor, const sockaddr* address, socklen_t size) noexcept {
  return binds.IsNext() ? -1 : Next(&bind, "bind")(descriptor, address, size);
}

int listen(int descriptor, int count) noexcept {
  listening_descriptor = descriptor;
  backlog = count;
  return listens.IsNext() ? -1 : Next(&listen, "listen")(descriptor, count);
}

int accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
  ++accept_calls;
  accepts_from = descriptor;
  // The connection is taken out of the queue, so that none is left that would be ready again.
  const int accepted = Next(&accept4, "accept4")(descriptor, address, size, flags);
  if (!accepts.IsNext()) return accepted;
  const int error = errno;
  if (accepted >= 0) close(accepted);
  errno = error;
  return -1;
}

int poll(pollfd* polled, nfds_t count, int ms) { return Wait(polled, count, ms); }

int pipe2(int ends[2], int flags) noexcept {
  const bool is_missing = (missing_pipes & 1) != 0;
  missing_pipes >>= 1;
  if (!is_missing) return Next(&pipe2, "pipe2")(ends, flags);
  return support::FailNoted(EMFILE);
}

}  // extern "C"

namespace {

using support::ConnectBlocking;
using support::Echo;
using support::FunctionListener;
using support::IsEchoed;
using support::WaitUntil;

void Fail(Failing& what, int error, int calls = 1) {
  what.error = error;
  what.calls = calls;
}

class TCPListenerFault : public testing::Test {
 protected:
  TCPListenerFault() { listener_.pause_ms = 1; }

  bool Serves() { return IsEchoed(ConnectBlocking(listener_.Address()), 'x'); }

  FunctionListener listener_{Echo};
};

TEST_F(TCPListenerFault, TheQueueHasRoomForFifty) {
  listener_.StartListening();
  EXPECT_TRUE(Serves());
  EXPECT_EQ(backlog, 50);
}

/// An option of a socket that is an integer.
int Option(int descriptor, int name) {
  int value = -1;
  socklen_t size = sizeof value;
  getsockopt(descriptor, SOL_SOCKET, name, &value, &size);
  return value;
}

TEST_F(TCPListenerFault, TheListeningSocketIsSetUpAsEveryOtherAndForEveryAddress) {
  listener_.StartListening();
  const LIPAddressWithPort address = listener_.Address();
  const LIPSocketTCP plain(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  constexpr int size = 32768;
  setsockopt(plain.Descriptor(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
  EXPECT_EQ(Option(listening_descriptor, SO_SNDBUF), Option(plain.Descriptor(), SO_SNDBUF));
  EXPECT_EQ(Option(listening_descriptor, SO_REUSEADDR), 1);
  EXPECT_EQ(fcntl(listening_descriptor, F_GETFD), FD_CLOEXEC);
  EXPECT_NE(fcntl(listening_descriptor, F_GETFL) & O_NONBLOCK, 0);
  sockaddr_in bound = {};
  socklen_t bound_size = sizeof bound;
  ASSERT_EQ(getsockname(listening_descriptor, reinterpret_cast<sockaddr*>(&bound), &bound_size), 0);
  EXPECT_EQ(bound.sin_addr.s_addr, htonl(INADDR_ANY));
  EXPECT_EQ(bound.sin_port, htons(address.Port()));
}

TEST_F(TCPListenerFault, AFailureToListenIsFollowedByAPauseAndAnotherTry) {
  struct Case {
    const char* name;
    Failing& what;
    int error;
  };
  for (const Case& one :
       {Case{"socket", sockets, EMFILE}, Case{"SO_REUSEADDR", options, ENOBUFS}, Case{"bind", binds, EADDRINUSE},
        Case{"bind", binds, EACCES}, Case{"listen", listens, EADDRINUSE}}) {
    SCOPED_TRACE(one.name);
    listener_.pauses = 0;
    Fail(one.what, one.error, 3);
    listener_.StartListening();
    listener_.Address();
    EXPECT_EQ(listener_.pauses, 3);
    EXPECT_EQ(listener_.asked_pause_ms, 30000u);
    EXPECT_TRUE(Serves());
    listener_.StopThreadAndWait();
  }
}

TEST_F(TCPListenerFault, AConnectionThatWasAbortedIsPassedOver) {
  listener_.StartListening();
  const unsigned short port = listener_.Address().Port();
  Fail(accepts, ECONNABORTED, 3);
  for (int i = 0; i < 3; ++i) ConnectBlocking(listener_.Address());
  EXPECT_TRUE(WaitUntil([] { return accepts.calls == 0; }));
  EXPECT_TRUE(Serves());
  EXPECT_EQ(listener_.BoundPort(), port);
  EXPECT_EQ(listener_.pauses, 0);
  EXPECT_EQ(listener_.served, 1);
}

TEST_F(TCPListenerFault, AfterAnAbortedConnectionAStopRequestIsHeard) {
  Fail(accepts, ECONNABORTED);
  both_ready = 1;
  wait_calls = 0;
  listener_.StartListening();
  const LIPAddressWithPort address = listener_.Address();
  listener_.StopThreadSoon();
  ConnectBlocking(address);
  listener_.JoinThread();
  EXPECT_EQ(listener_.served, 0);
  EXPECT_EQ(accepts.calls, 0);
  EXPECT_EQ(wait_calls, 1);
}

TEST_F(TCPListenerFault, AnyOtherFailureToAcceptClosesThePortUntilAfterThePause) {
  int pauses = 0;
  listener_.StartListening();
  for (const int error : {EMFILE, ENFILE, ENOBUFS, EAGAIN, EINTR, EPROTO, EBADF}) {
    SCOPED_TRACE(error);
    Fail(accepts, error);
    ConnectBlocking(listener_.Address());
    EXPECT_TRUE(WaitUntil([&] { return listener_.pauses == pauses + 1; }));
    ++pauses;
    EXPECT_EQ(listener_.asked_pause_ms, 30000u);
    EXPECT_TRUE(WaitUntil([&] { return Serves(); }));
  }
}

TEST_F(TCPListenerFault, DuringAPauseNobodyListens) {
  listener_.pause_ms = 30000;
  listener_.StartListening();
  Fail(accepts, EMFILE);
  ConnectBlocking(listener_.Address());
  ASSERT_TRUE(WaitUntil([&] { return listener_.pauses == 1; }));
  EXPECT_EQ(fcntl(accepts_from, F_GETFD), -1);
  EXPECT_EQ(listener_.BoundPort(), 0);
}

TEST_F(TCPListenerFault, AWaitThatFailsOrIsInterruptedClosesThePortUntilAfterThePause) {
  for (const int error : {EINTR, ENOMEM}) {
    SCOPED_TRACE(error);
    listener_.pauses = 0;
    Fail(waits, error);
    listener_.StartListening();
    EXPECT_TRUE(WaitUntil([&] { return listener_.pauses == 1; }));
    EXPECT_TRUE(Serves());
    listener_.StopThreadAndWait();
  }
}

TEST_F(TCPListenerFault, AStopRequestAloneIsNoReasonToAccept) {
  accept_calls = wait_calls = 0;
  listener_.StartListening();
  ASSERT_TRUE(WaitUntil([] { return wait_calls == 1; }));
  listener_.StopThreadAndWait();
  EXPECT_EQ(accept_calls, 0);
}

// Who is there already when the stop request comes.
TEST_F(TCPListenerFault, AConnectionThatIsReadyTogetherWithAStopRequestIsServed) {
  both_ready = 1;
  listener_.StartListening();
  const LIPSocketTCP first = ConnectBlocking(listener_.Address());
  EXPECT_TRUE(IsEchoed(first, 'x'));
  listener_.StopThreadAndWait();
  EXPECT_EQ(listener_.served, 1);
}

// The pipes of a thread are those of the stop request, of its end and of its start.
TEST_F(TCPListenerFault, WithoutThePipesOfItsWaitsTheThreadEndsAtOnce) {
  for (const unsigned int missing : {7u, 3u, 1u, 2u}) {
    SCOPED_TRACE(missing);
    missing_pipes = missing;
    FunctionListener listener(Echo);
    const support::Stopwatch watch;
    listener.StartListening();
    listener.JoinThread();
    EXPECT_LT(watch.Ms(), support::kSoonMs);
    EXPECT_EQ(listener.pauses, 0);
  }
}

}  // namespace
