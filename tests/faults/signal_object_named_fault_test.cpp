// System calls that fail or are interrupted under named signals. The definitions here take the place of the C library's
// for everything that is linked into this program; nobody waits.

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/faults.h>
#include <tests/support/files.h>
#include <tests/support/next_definition.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/temp_folder.h>
#include <tillvane/core/LSignalObjectNamed.h>

using support::Next;

namespace {

// What a call does instead, while it is set.
support::Replacement<int()> on_socket{"socket"}, on_fchmod{"fchmod"}, on_listen{"listen"}, on_accept{"accept"},
    on_connect{"connect"};
support::Replacement<int(pollfd* polled, int ms)> on_poll{"poll"};
support::Replacement<ssize_t(int flags)> on_send{"send"};
support::Replacement<ssize_t()> on_read{"read"};
/// After each bind.
std::function<void()> on_bound;
std::vector<int> backlogs;

int FailWith(int error) {
  errno = error;
  return -1;
}

}  // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept {
  return on_socket ? on_socket() : Next(&socket, "socket")(domain, type, protocol);
}

int fchmod(int descriptor, mode_t mode) noexcept {
  return on_fchmod ? on_fchmod() : Next(&fchmod, "fchmod")(descriptor, mode);
}

int bind(int descriptor, const sockaddr* address, socklen_t size) noexcept {
  const int result = Next(&bind, "bind")(descriptor, address, size);
  if (on_bound) on_bound();
  return result;
}

int listen(int descriptor, int backlog) noexcept {
  backlogs.push_back(backlog);
  return on_listen ? on_listen() : Next(&listen, "listen")(descriptor, backlog);
}

int poll(pollfd* polled, nfds_t count, int ms) {
  return on_poll && count == 1 ? on_poll(polled, ms) : Next(&poll, "poll")(polled, count, ms);
}

int accept4(int descriptor, sockaddr* address, socklen_t* size, int flags) {
  return on_accept ? on_accept() : Next(&accept4, "accept4")(descriptor, address, size, flags);
}

int connect(int descriptor, const sockaddr* address, socklen_t size) {
  return on_connect ? on_connect() : Next(&connect, "connect")(descriptor, address, size);
}

ssize_t send(int descriptor, const void* data, size_t size, int flags) {
  return on_send ? on_send(flags) : Next(&send, "send")(descriptor, data, size, flags);
}

ssize_t read(int descriptor, void* buffer, size_t size) {
  return on_read && size == 1 ? on_read() : Next(&read, "read")(descriptor, buffer, size);
}

}  // extern "C"

namespace {

class SignalObjectNamedFault : public testing::Test {
 protected:
  ~SignalObjectNamedFault() override {
    on_socket = on_fchmod = on_listen = on_accept = on_connect = {};
    on_poll = {};
    on_send = {};
    on_read = {};
    on_bound = {};
    backlogs.clear();
  }

  /// Whether an object, which is gone afterwards, was signalled.
  static bool Wait(unsigned int ms = 0) {
    LSignalObjectNamed object("signal");
    const bool received = object.WaitSignal(ms);
    const int error = errno;
    object.Reset();
    errno = error;
    return received;
  }
  bool IsPathThere() const { return support::IsThere(folder_.File("signal")); }
  std::string Leaked() const { return support::DescribeChanges(before_, support::ListOpenDescriptors()); }

  const support::TempFolder folder_;
  const support::EnvironmentVariable data_home_{"XDG_DATA_HOME", folder_.Path().c_str()};
  const support::OpenDescriptors before_ = support::ListOpenDescriptors();
};

TEST_F(SignalObjectNamedFault, AWaitFailsWithWhatItNeeds) {
  struct Case {
    const char* call;
    support::Replacement<int()>* fault;
    int error;
    bool leaves_path;
  };
  for (const Case& one : {Case{"socket", &on_socket, EMFILE, false}, Case{"fchmod", &on_fchmod, EINVAL, false},
                          Case{"listen", &on_listen, ENOBUFS, true}, Case{"accept4", &on_accept, EMFILE, true},
                          Case{"accept4", &on_accept, EINTR, true}}) {
    SCOPED_TRACE(one.call);
    *one.fault = [&] { return FailWith(one.error); };
    errno = 0;
    EXPECT_FALSE(Wait());
    EXPECT_EQ(errno, one.error);
    EXPECT_EQ(IsPathThere(), one.leaves_path) << "only who received a signal deletes it";
    EXPECT_EQ(Leaked(), "");
    *one.fault = {};
    unlink(folder_.File("signal").c_str());
  }
}

TEST_F(SignalObjectNamedFault, AFailedOrInterruptedPollIsAFailureWithoutAccept) {
  on_accept = [] {
    ADD_FAILURE() << "accept4";
    return FailWith(EIO);
  };
  for (const int error : {EINTR, ENOMEM, EINVAL}) {
    on_poll = [&](pollfd*, int) { return FailWith(error); };
    errno = 0;
    EXPECT_FALSE(Wait());
    EXPECT_EQ(errno, error);
    EXPECT_TRUE(IsPathThere());
    EXPECT_EQ(Leaked(), "");
    unlink(folder_.File("signal").c_str());
  }
}

TEST_F(SignalObjectNamedFault, AcceptComesAfterTheTimeHasPassedToo) {
  int accepts = 0;
  on_accept = [&] {
    ++accepts;
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  };
  struct Case {
    unsigned int ms;
    int polled;
  };
  for (const Case& one :
       {Case{0, 0}, Case{1, 1}, Case{2500, 2500}, Case{0x7FFFFFFF, 0x7FFFFFFF}, Case{0xFFFFFFFF, -1}}) {
    SCOPED_TRACE(one.ms);
    on_poll = [&](pollfd* polled, int ms) {
      EXPECT_EQ(ms, one.polled);
      EXPECT_EQ(polled->events, POLLIN);
      return 0;
    };
    accepts = 0;
    LSignalObjectNamed object("signal");
    EXPECT_TRUE(object.WaitSignal(one.ms));
    EXPECT_EQ(accepts, 1);
  }
  EXPECT_EQ(backlogs, std::vector<int>(5, 5));
  EXPECT_EQ(Leaked(), "");
}

TEST_F(SignalObjectNamedFault, TheFileIsNeverOpenToOthers) {
  const mode_t mask = umask(0);
  std::vector<mode_t> modes;
  on_bound = [&] { modes.push_back(support::Mode(folder_.File("signal"))); };
  on_poll = [](pollfd*, int) { return FailWith(EIO); };
  EXPECT_FALSE(Wait());
  EXPECT_EQ(umask(mask), 0u) << "nor is the process's mask changed";
  EXPECT_EQ(modes, std::vector<mode_t>{0600});
}

TEST_F(SignalObjectNamedFault, ASignalThatDoesNotConnectIsGivenUpAtOnce) {
  on_send = [](int) -> ssize_t {
    ADD_FAILURE() << "send";
    return -1;
  };
  for (const int error : {EINTR, ECONNREFUSED, EACCES, EAGAIN}) {
    int connects = 0;
    on_connect = [&] {
      ++connects;
      return FailWith(error);
    };
    LSignalObjectNamed object("signal");
    object.Signal();
    EXPECT_EQ(connects, 1);
    EXPECT_EQ(Leaked(), "") << error;
  }
  on_connect = [] {
    ADD_FAILURE() << "connect";
    return -1;
  };
  on_socket = [] { return FailWith(EMFILE); };
  LSignalObjectNamed("signal").Signal();
}

// An address without a path is on some systems one that any user may take and connect to.
TEST_F(SignalObjectNamedFault, WithoutAPathThereIsNoSocketAtAll) {
  on_socket = [] {
    ADD_FAILURE() << "socket";
    return FailWith(EIO);
  };
  LSignalObjectNamed object(std::string(200, 'n').c_str());
  object.Signal();
  EXPECT_FALSE(object.WaitSignal(0));
}

TEST_F(SignalObjectNamedFault, ASignalRaisesNoSIGPIPE) {
  on_connect = [] { return 0; };
  int sends = 0;
  on_send = [&](int flags) {
    EXPECT_EQ(flags, MSG_NOSIGNAL);
    ++sends;
    return FailWith(EPIPE);
  };
  LSignalObjectNamed("signal").Signal();
  EXPECT_EQ(sends, 1);
  EXPECT_EQ(Leaked(), "");
}

TEST_F(SignalObjectNamedFault, DrainingGoesOnAfterAnInterruption) {
  on_poll = [](pollfd*, int) { return 1; };
  on_accept = [] { return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0); };
  LSignalObjectNamed object("signal");
  int reads = 0;
  on_read = [&]() -> ssize_t { return ++reads; };
  object.Reset();
  EXPECT_EQ(reads, 0) << "nothing was received yet";
  ASSERT_TRUE(object.WaitSignal(0));
  for (const int last : {0, EAGAIN, ECONNRESET}) {
    SCOPED_TRACE(last);
    reads = 0;
    on_read = [&]() -> ssize_t {
      switch (++reads) {
        case 1:
          return 1;
        case 2:
          return FailWith(EINTR);
        case 3:
          return 1;
        default:
          // An end of the data leaves errno as it was.
          if (last != 0) return FailWith(last);
          errno = EINTR;
          return 0;
      }
    };
    object.Reset();
    EXPECT_EQ(reads, 4);
  }
}

}  // namespace
