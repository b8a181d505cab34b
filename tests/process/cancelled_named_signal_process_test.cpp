// Named signals whose thread is cancelled. Apart from their other tests: ThreadSanitizer does not follow how a thread
// that is cancelled leaves its functions.

#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/environment_variable.h>
#include <tests/support/files.h>
#include <tests/support/local_sockets.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LSignalObjectNamed.h>

namespace {

using support::LocalListener;

class CancelledNamedSignal : public testing::Test {
 protected:
  /// Runs a function of an object on a thread, which is cancelled once it hangs there.
  template <class Function, class Condition>
  void RunAndCancel(Function function, Condition hangs) const {
    LSignalObjectNamed object("signal");
    std::thread thread([&] { function(object); });
    EXPECT_TRUE(support::WaitUntil(hangs));
    support::SleepMs(30);
    pthread_cancel(thread.native_handle());
    thread.join();
  }
  std::string Path() const { return folder_.File("signal"); }

  const support::TempFolder folder_;
  const support::EnvironmentVariable data_home_{"XDG_DATA_HOME", folder_.Path().c_str()};
};

TEST_F(CancelledNamedSignal, AWaitClosesItsSocket) {
  for (const unsigned int ms : {0u, support::kLongMs}) {
    const auto before = support::ListOpenDescriptors();
    RunAndCancel([=](LSignalObjectNamed& object) { object.WaitSignal(ms); }, [&] { return support::IsThere(Path()); });
    EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "") << ms;
    EXPECT_NE(support::ErrorOfConnecting(Path()), 0);
    unlink(Path().c_str());
  }
}

/// Connections that nobody takes, until there is no room for one more: whoever connects then waits.
std::vector<LIPSocketTCP> FillQueue(const std::string& path) {
  const sockaddr_un address = support::LocalAddress(path);
  std::vector<LIPSocketTCP> waiting;
  for (;;) {
    LIPSocketTCP socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (connect(socket.Descriptor(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) break;
    waiting.push_back(std::move(socket));
  }
  EXPECT_EQ(errno, EAGAIN);
  return waiting;
}

TEST_F(CancelledNamedSignal, ASignalClosesItsSocket) {
  const LocalListener listener(Path());
  const auto waiting = FillQueue(Path());
  const auto before = support::ListOpenDescriptors();
  std::atomic<bool> returned{false};
  RunAndCancel(
      [&](LSignalObjectNamed& object) {
        object.Signal();
        returned = true;
      },
      [&] { return support::ListOpenDescriptors().size() == before.size() + 1; });
  EXPECT_FALSE(returned) << "it did not wait for room";
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
}

}  // namespace
