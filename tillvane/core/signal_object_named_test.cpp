#include <fcntl.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/background.h>
#include <tests/support/files.h>
#include <tests/support/local_sockets.h>
#include <tests/support/made_up_home.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LSignalObjectNamed.h>
#include <tillvane/files/LFile.h>

namespace {

using support::Background;
using support::kAtOnceMs;
using support::kLongestLocalPath;
using support::kLongMs;
using support::LocalListener;
using support::ReceivesASignal;
using support::SignalUntil;
using support::Stopwatch;
using support::WaitUntil;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;

class SignalObjectNamed : public testing::Test {
 protected:
  SignalObjectNamed() {
    char folder[260];
    LFile::GetUserDataFolder(folder);
    folder_ = folder;
    support::MakeFolder(folder_);
  }

  std::string Path(const std::string& name) const { return folder_ + '/' + name; }

  const support::MadeUpHome home_;
  std::string folder_;
};

TEST_F(SignalObjectNamed, ASignalEndsTheWait) {
  LSignalObjectNamed signaller("signal");
  for (const unsigned int ms : {kLongMs, 0xFFFFFFFEu, kNoLimit}) {
    SCOPED_TRACE(ms);
    LSignalObjectNamed waiting("signal");
    bool received = false;
    const Background wait([&] { received = waiting.WaitSignal(ms); });
    EXPECT_TRUE(SignalUntil(signaller, [&] { return wait.IsDone(); }));
    EXPECT_TRUE(received);
  }
}

TEST_F(SignalObjectNamed, OnlyTheWaitMakesTheDataFolder) {
  std::filesystem::remove_all(home_.Path(".local"));
  const auto before = support::Tree(home_.Path());
  LSignalObjectNamed waiting("signal"), signaller("signal");
  signaller.Signal();
  signaller.Reset();
  EXPECT_EQ(support::Tree(home_.Path()), before);
  EXPECT_TRUE(ReceivesASignal(waiting, signaller));
  for (const char* name : {".local", ".local/share"}) EXPECT_EQ(support::Mode(home_.Path(name)), 0700U) << name;
  EXPECT_TRUE(support::IsThere(home_.Path(".local/share/signal")));
}

TEST_F(SignalObjectNamed, WithoutAWaitASignalDoesNothing) {
  LSignalObjectNamed signaller("signal");
  const auto before = support::ListOpenDescriptors();
  const Stopwatch watch;
  signaller.Signal();
  EXPECT_LT(watch.Ms(), kAtOnceMs);
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
  EXPECT_EQ(support::Tree(folder_), std::set<std::string>());
}

TEST_F(SignalObjectNamed, AWaitWhoseTimeHasPassedGoesOn) {
  for (const unsigned int ms : {0u, 1u, 20u}) {
    SCOPED_TRACE(ms);
    LSignalObjectNamed waiting("signal"), signaller("signal");
    bool received = false;
    const Background wait([&] { received = waiting.WaitSignal(ms); });
    EXPECT_TRUE(WaitUntil([&] { return support::IsThere(Path("signal")); }));
    EXPECT_TRUE(wait.Hangs());
    EXPECT_TRUE(SignalUntil(signaller, [&] { return wait.IsDone(); }));
    EXPECT_TRUE(received);
  }
}

TEST_F(SignalObjectNamed, TheSocketLiesInTheDataFolderAndGoesWithWhoReceivedTheSignal) {
  LSignalObjectNamed signaller("signal");
  {
    LSignalObjectNamed waiting("signal");
    EXPECT_TRUE(ReceivesASignal(waiting, signaller));
    EXPECT_EQ(support::Tree(folder_), std::set<std::string>{"signal"});
    struct stat status;
    ASSERT_EQ(lstat(Path("signal").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFSOCK | 0600));
  }
  EXPECT_EQ(support::Tree(folder_), std::set<std::string>());
}

TEST_F(SignalObjectNamed, ItWaitsOnce) {
  LSignalObjectNamed signaller("signal");
  LSignalObjectNamed waiting("signal");
  ASSERT_TRUE(ReceivesASignal(waiting, signaller));
  const auto before = support::ListOpenDescriptors();
  {
    LSignalObjectNamed other("signal");
    for (LSignalObjectNamed* const again : {&waiting, &other}) {
      errno = 0;
      EXPECT_FALSE(again->WaitSignal(kNoLimit));
      EXPECT_EQ(errno, EADDRINUSE);
    }
  }
  EXPECT_TRUE(support::IsThere(Path("signal"))) << "only who received the signal deletes it";
  EXPECT_EQ(support::DescribeChanges(before, support::ListOpenDescriptors()), "");
}

TEST_F(SignalObjectNamed, WhatIsLeftOverStaysAndKeepsItFromWaiting) {
  { const LocalListener left_over(Path("socket")); }
  support::MakeFile(Path("file"), "text");
  support::MakeFolder(Path("folder"));
  ASSERT_EQ(symlink("nowhere", Path("link").c_str()), 0);
  for (const char* name : {"socket", "file", "folder", "link", ""}) {
    SCOPED_TRACE(name);
    {
      LSignalObjectNamed waiting(name), signaller(name);
      EXPECT_FALSE(waiting.WaitSignal(kNoLimit));
      signaller.Signal();
    }
    EXPECT_TRUE(support::IsThere(Path(name)));
  }
  EXPECT_EQ(support::Contents(Path("file")), "text");
  EXPECT_FALSE(support::IsThere(Path("nowhere")));
}

// An object whose file was taken away waits again, and closes what it had.
TEST_F(SignalObjectNamed, ASecondSignalTakesTheFirstOnesPlace) {
  LSignalObjectNamed signaller("signal");
  LSignalObjectNamed waiting("signal");
  ASSERT_TRUE(ReceivesASignal(waiting, signaller));
  // Nobody hears this one: the signaller has nothing open afterwards.
  signaller.Signal();
  const std::size_t open = support::ListOpenDescriptors().size();
  ASSERT_EQ(unlink(Path("signal").c_str()), 0);
  ASSERT_TRUE(ReceivesASignal(waiting, signaller));
  signaller.Signal();
  EXPECT_EQ(support::ListOpenDescriptors().size(), open);
}

TEST_F(SignalObjectNamed, WithoutItsFolderNothingIsMade) {
  LSignalObjectNamed waiting("missing/signal"), signaller("missing/signal");
  errno = 0;
  EXPECT_FALSE(waiting.WaitSignal(kNoLimit));
  EXPECT_EQ(errno, ENOENT);
  signaller.Signal();
  EXPECT_EQ(support::Tree(folder_), std::set<std::string>());
  support::MakeFolder(Path("missing"));
  EXPECT_TRUE(ReceivesASignal(waiting, signaller)) << "the path is only looked at when it is used";
}

TEST_F(SignalObjectNamed, ANameThatIsTooLongIsRefused) {
  const std::size_t folder = folder_.size() + 1;
  for (const std::size_t length :
       {kLongestLocalPath - 2, kLongestLocalPath - 1, kLongestLocalPath, kLongestLocalPath + 1, kLongestLocalPath + 2,
        kLongestLocalPath + 3, std::size_t{200}, std::size_t{258}, std::size_t{259}, std::size_t{260},
        std::size_t{1000}}) {
    SCOPED_TRACE(length);
    const std::string name(length - folder, 'n');
    LSignalObjectNamed waiting(name.c_str()), signaller(name.c_str());
    if (length <= kLongestLocalPath) {
      EXPECT_TRUE(ReceivesASignal(waiting, signaller));
      EXPECT_EQ(support::Tree(folder_), std::set<std::string>{name});
      continue;
    }
    errno = 0;
    EXPECT_FALSE(waiting.WaitSignal(kNoLimit));
    EXPECT_EQ(errno, ENAMETOOLONG);
    EXPECT_EQ(support::Tree(folder_), std::set<std::string>());
    // Neither of the two whose path is this one's beginning.
    for (const std::size_t cut : {kLongestLocalPath - 1, kLongestLocalPath}) {
      const std::string path = Path(name).substr(0, cut);
      const LocalListener other(path);
      signaller.Signal();
      EXPECT_FALSE(other.HasConnection());
      unlink(path.c_str());
    }
  }
}

// --- What is sent and what stays open ---

TEST_F(SignalObjectNamed, ASignalIsOneByteAndAConnectionThatStays) {
  const LocalListener listener(Path("signal"));
  std::optional<LSignalObjectNamed> signaller(std::in_place, "signal");
  const auto before = support::ListOpenDescriptors();
  signaller->Signal();
  const LIPSocketTCP first = listener.Accept();
  unsigned char bytes[2];
  EXPECT_EQ(read(first.Descriptor(), bytes, sizeof bytes), 1);
  EXPECT_EQ(bytes[0], 1);
  EXPECT_EQ(read(first.Descriptor(), bytes, 1), -1);
  EXPECT_EQ(errno, EAGAIN) << "it is still open";
  signaller->Signal();
  EXPECT_EQ(read(first.Descriptor(), bytes, 1), 0) << "until the next one";
  const LIPSocketTCP second = listener.Accept();
  EXPECT_EQ(read(second.Descriptor(), bytes, 1), 1);
  unlink(Path("signal").c_str());
  signaller->Signal();
  EXPECT_EQ(read(second.Descriptor(), bytes, 1), 0) << "one that reaches nobody too";
  EXPECT_EQ(support::ListOpenDescriptors().size(), before.size() + 2) << "the two that this test has accepted";
}

TEST_F(SignalObjectNamed, TheConnectionEndsWithTheObject) {
  const LocalListener listener(Path("signal"));
  LIPSocketTCP accepted;
  {
    LSignalObjectNamed signaller("signal");
    signaller.Signal();
    accepted = listener.Accept();
  }
  unsigned char bytes[2];
  EXPECT_EQ(read(accepted.Descriptor(), bytes, 2), 1);
  EXPECT_EQ(read(accepted.Descriptor(), bytes, 2), 0);
  EXPECT_TRUE(support::IsThere(Path("signal"))) << "it is the listener's";
}

TEST_F(SignalObjectNamed, ResetDrainsAndReturns) {
  LSignalObjectNamed waiting("signal");
  waiting.Reset();
  bool received = false;
  {
    const Background wait([&] { received = waiting.WaitSignal(kLongMs); });
    ASSERT_TRUE(WaitUntil([&] { return support::ErrorOfConnecting(Path("signal")) == 0; }));
  }
  ASSERT_TRUE(received);
  // Its peer has gone without a byte: the end of the connection ends the draining, whatever errno says.
  errno = EINTR;
  waiting.Reset();
  LSignalObjectNamed again("again"), signaller("again");
  ASSERT_TRUE(ReceivesASignal(again, signaller));
  const Stopwatch watch;
  again.Reset();
  again.Reset();
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST_F(SignalObjectNamed, EveryDescriptorIsClosedOnExec) {
  const auto before = support::ListOpenDescriptors();
  LSignalObjectNamed waiting("signal"), signaller("signal");
  const auto expect_closed_on_exec = [&](std::size_t count) {
    std::size_t found = 0;
    for (const auto& [descriptor, what] : support::ListOpenDescriptors()) {
      if (before.contains(descriptor) || what.find("socket") == std::string::npos) continue;
      ++found;
      EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC) << what;
    }
    EXPECT_EQ(found, count);
  };
  {
    const Background wait([&] { waiting.WaitSignal(kLongMs); });
    EXPECT_TRUE(WaitUntil([&] { return support::IsThere(Path("signal")); }));
    expect_closed_on_exec(1);
    EXPECT_TRUE(SignalUntil(signaller, [&] { return wait.IsDone(); }));
  }
  signaller.Signal();
  expect_closed_on_exec(1);
  LSignalObjectNamed other("other");
  const LocalListener listener(Path("other"));
  other.Signal();
  expect_closed_on_exec(3);
}

TEST_F(SignalObjectNamed, AnyThreadSignals) {
  const LocalListener listener(Path("signal"));
  LSignalObjectNamed signaller("signal");
  const auto before = support::ListOpenDescriptors();
  {
    const auto signal_often = [&] {
      for (int i = 0; i < 200; ++i) signaller.Signal();
    };
    const Background one(signal_often), other(signal_often);
    int received = 0;
    EXPECT_TRUE(WaitUntil([&] {
      if (listener.HasConnection()) received += listener.Accept().Descriptor() >= 0;
      return received == 400;
    }));
  }
  EXPECT_LE(support::ListOpenDescriptors().size(), before.size() + 1);
}

}  // namespace
