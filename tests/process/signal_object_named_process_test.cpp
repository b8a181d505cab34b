// Named signals between processes, killed ones and another user's; interruptions; descriptors that `select` cannot
// take.

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/child_process.h>
#include <tests/support/environment_variable.h>
#include <tests/support/files.h>
#include <tests/support/local_sockets.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/temp_folder.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LSignalObjectNamed.h>

namespace {

using support::ChildProcess;
using support::kAtOnceMs;
using support::kLongMs;
using support::kSoonMs;
using support::Stopwatch;
using support::WaitUntil;

const std::string kHelper = TILLVANE_TEST_HELPER;
constexpr unsigned int kNoLimit = 0xFFFFFFFF;

class SignalObjectNamedProcess : public testing::Test {
 protected:
  SignalObjectNamedProcess() { support::MakeFolder(data_); }

  std::string Path(const std::string& name) const { return data_ + '/' + name; }

  const support::TempFolder folder_;
  const std::string data_ = folder_.File("data");
  const support::EnvironmentVariable data_home_{"XDG_DATA_HOME", data_.c_str()};
};

TEST_F(SignalObjectNamedProcess, AnotherProcessReceivesTheSignal) {
  for (const char* command : {"wait", "wait-masked"}) {
    SCOPED_TRACE(command);
    ChildProcess waiting({kHelper, command, "signal"});
    ASSERT_TRUE(WaitUntil([&] { return support::IsThere(Path("signal")); }));
    EXPECT_EQ(support::Mode(Path("signal")), 0600u);
    LSignalObjectNamed signaller("signal");
    EXPECT_TRUE(support::SignalUntil(signaller, [&] { return waiting.WaitForEnd(1); }));
    EXPECT_EQ(waiting.Output(), "received\n");
    EXPECT_EQ(waiting.ExitCode(), 0);
    EXPECT_EQ(support::Tree(data_), std::set<std::string>());
  }
}

TEST_F(SignalObjectNamedProcess, AnotherProcessSendsTheSignal) {
  const ChildProcess signalling({kHelper, "signal", "signal"});
  LSignalObjectNamed waiting("signal");
  EXPECT_TRUE(waiting.WaitSignal(kLongMs));
  waiting.Reset();
}

TEST_F(SignalObjectNamedProcess, OneOfTwoWaits) {
  ChildProcess waiting({kHelper, "wait", "signal"});
  ASSERT_TRUE(WaitUntil([&] { return support::IsThere(Path("signal")); }));
  const support::ProcessResult second = support::RunProcess({kHelper, "wait", "signal"}, kLongMs);
  EXPECT_EQ(second.output, "EADDRINUSE\n");
  LSignalObjectNamed signaller("signal");
  EXPECT_TRUE(support::SignalUntil(signaller, [&] { return waiting.WaitForEnd(1); }));
  EXPECT_EQ(waiting.Output(), "received\n");
}

TEST_F(SignalObjectNamedProcess, AKilledProcessLeavesItsPathAndNobodyWaitsThere) {
  ChildProcess waiting({kHelper, "wait", "signal"});
  ASSERT_TRUE(WaitUntil([&] { return support::IsThere(Path("signal")); }));
  waiting.Signal(SIGKILL);
  ASSERT_TRUE(waiting.WaitForEnd(kLongMs));
  const auto before = support::ListOpenDescriptors();
  const Stopwatch watch;
  {
    LSignalObjectNamed object("signal");
    object.Signal();
    EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
    errno = 0;
    EXPECT_FALSE(object.WaitSignal(kNoLimit));
    EXPECT_EQ(errno, EADDRINUSE);
  }
  EXPECT_LT(watch.Ms(), kAtOnceMs);
  EXPECT_TRUE(support::IsThere(Path("signal")));
  ASSERT_EQ(unlink(Path("signal").c_str()), 0);
  LSignalObjectNamed again("signal"), signaller("signal");
  EXPECT_TRUE(support::ReceivesASignal(again, signaller)) << "a host that takes it away waits again";
}

TEST_F(SignalObjectNamedProcess, AnotherUserCannotSignal) {
  if (geteuid() != 0) GTEST_SKIP() << "only the administrator becomes another user";
  // Everything but the socket itself is open to him.
  for (const std::string& path : {folder_.Path(), data_})
    std::filesystem::permissions(path, std::filesystem::perms{0755});
  ChildProcess waiting({kHelper, "wait", "signal"});
  ASSERT_TRUE(WaitUntil([&] { return support::IsThere(Path("signal")); }));
  const support::ProcessResult other = support::RunProcess({kHelper, "signal-as-nobody", "signal"}, kLongMs);
  EXPECT_EQ(other.output, "EACCES\n");
  EXPECT_FALSE(waiting.WaitForEnd(50));
  LSignalObjectNamed signaller("signal");
  EXPECT_TRUE(support::SignalUntil(signaller, [&] { return waiting.WaitForEnd(1); }));
}

// --- What interrupts it ---

TEST_F(SignalObjectNamedProcess, AnInterruptedWaitFails) {
  for (const unsigned int ms : {0u, kLongMs, kNoLimit}) {
    SCOPED_TRACE(ms);
    const auto before = support::ListOpenDescriptors();
    {
      const support::Interrupter interrupter(5000);
      LSignalObjectNamed waiting("signal");
      const Stopwatch watch;
      EXPECT_FALSE(waiting.WaitSignal(ms));
      EXPECT_EQ(errno, EINTR);
      EXPECT_LT(watch.Ms(), kSoonMs);
    }
    EXPECT_TRUE(support::IsThere(Path("signal")));
    EXPECT_NE(support::ErrorOfConnecting(Path("signal")), 0) << "nobody listens there any more";
    EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
    unlink(Path("signal").c_str());
  }
}

// --- Descriptors beyond those that `select` can watch ---

TEST_F(SignalObjectNamedProcess, HighDescriptorsWaitAsLowOnesDo) {
  const support::LowDescriptorsTaken taken;
  LSignalObjectNamed waiting("signal"), signaller("signal");
  EXPECT_TRUE(support::ReceivesASignal(waiting, signaller));
  waiting.Reset();
}

}  // namespace
