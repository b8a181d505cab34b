#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <tests/process/call_tracer.h>
#include <tests/process/ledger_child.h>
#include <tests/support/seeded.h>
#include <tests/support/sqlite_file.h>
#include <tests/support/temp_folder.h>
#include <tillvane/platform/linux/store_ledger_linux.h>

namespace {

namespace fs = std::filesystem;

using platform::StoreLedger;
using platform::StoreTransaction;
using platform::TransactionState;
using support::CallTracer;
using support::IsTrue;
using support::LedgerChild;
using support::RunSql;

class LedgerKillTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { support::KeepFoldersInMemory(); }
};

std::string Path(const support::TempFolder& folder) { return folder.File("ledger.sqlite"); }

/// What a child told of its purchases, by id.
struct Told {
  explicit Told(const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
      const std::string::size_type space = line.find(' ');
      const std::string id = space == std::string::npos ? "" : line.substr(space + 1);
      if (line.rfind("begun", 0) == 0) begun.insert(id);
      if (line.rfind("purchased", 0) == 0) purchased.insert(id);
      if (line.rfind("finishing", 0) == 0) finishing.insert(id);
      if (line.rfind("finished", 0) == 0) finished.insert(id);
      EXPECT_NE(line.rfind("false", 0), 0U) << line;
    }
  }

  std::set<std::string> begun, purchased, finishing, finished;
};

std::vector<StoreTransaction> Take(StoreLedger& ledger) {
  std::vector<StoreTransaction> transactions;
  EXPECT_TRUE(ledger.TakeUnfinished(&transactions)) << ledger.Error();
  return transactions;
}

/// What a process that was killed had told of is in its ledger, and the next process gets what was paid for.
/// \return how many purchases those were
int ExpectNothingLost(const support::TempFolder& folder, const Told& told) {
  StoreLedger next(folder.Path());
  StoreLedger third(folder.Path());
  std::set<std::string> taken;
  const std::vector<StoreTransaction> transactions = Take(next);
  for (const StoreTransaction& transaction : transactions) {
    const std::string id = std::to_string(transaction.id);
    EXPECT_EQ(transaction.state, TransactionState::kPurchased);
    EXPECT_TRUE(told.begun.count(id)) << id << " was never begun";
    EXPECT_FALSE(told.finished.count(id)) << id << " was finished";
    EXPECT_TRUE(taken.insert(id).second) << id << " was delivered twice";
  }
  for (const std::string& id : told.purchased) {
    EXPECT_TRUE(taken.count(id) || told.finishing.count(id)) << id << " was paid and is lost";
  }
  EXPECT_TRUE(Take(third).empty()) << "the next process lives";
  EXPECT_EQ(RunSql(Path(folder), "PRAGMA integrity_check"), "ok");
  EXPECT_EQ(RunSql(Path(folder), "SELECT count(*) FROM transactions WHERE finished = 0 AND state = 0"), "0");
  for (const StoreTransaction& transaction : transactions) EXPECT_TRUE(next.Finish(transaction.id)) << next.Error();
  for (const auto& entry : fs::directory_iterator(folder.Path())) {
    EXPECT_EQ(entry.path().string().find("corrupt"), std::string::npos) << entry.path();
  }
  return static_cast<int>(taken.size());
}

TEST_F(LedgerKillTest, KilledAtAnyMomentNothingIsLost) {
  support::Seeded seeded(20240229);
  auto folder = std::make_unique<support::TempFolder>();
  int paid = 0;
  for (int round = 0; round < 200 && !HasFailure(); ++round) {
    // A ledger goes through several kills, so that one also hits what mends the last one's traces.
    if (round % 5 == 0) folder = std::make_unique<support::TempFolder>();
    LedgerChild child;
    child.Tell("open " + folder->Path() + "\nshop 1000000");
    EXPECT_EQ(child.Answer(), "true");
    const auto delay = seeded.Below(6000);
    usleep(delay);
    child.Kill();
    const testing::ScopedTrace trace(__FILE__, __LINE__,
                                     "round " + std::to_string(round) + ", " + std::to_string(delay) + " us");
    paid += ExpectNothingLost(*folder, Told(child.Rest()));
  }
  EXPECT_GT(paid, 0) << "no child came as far as a purchase";
}

/// Kills a process before each call of its life at a ledger, one after the other.
/// \param prepare makes the ledger that it finds
void KillAtEveryCall(void (*prepare)(const support::TempFolder&)) {
  int paid = 0;
  bool killed = true;
  int calls = 0;
  while (killed && !testing::Test::HasFailure()) {
    const support::TempFolder folder;
    prepare(folder);
    LedgerChild child;
    // After its answer it has started, and all that it has left to do is to wait for more.
    ASSERT_TRUE(IsTrue(child.Ask("descriptors")));
    CallTracer tracer(child.Pid());
    if (!tracer.IsAttached()) GTEST_SKIP() << "no process may be traced here: " << std::strerror(errno);
    child.Tell("open " + folder.Path() + "\nshop 2\nclose");
    killed = tracer.RunToChange(++calls);
    if (killed) {
      child.Kill();
    } else {
      tracer.Detach();
    }
    const testing::ScopedTrace trace(__FILE__, __LINE__, "call " + std::to_string(calls));
    std::vector<std::string> lines;
    if (killed) {
      lines = child.Rest();
    } else {
      for (std::string line; lines.size() < 9;) lines.push_back(child.Answer());
    }
    paid += ExpectNothingLost(folder, Told(lines));
  }
  EXPECT_GT(calls, 30) << "what was traced was no purchase";
  EXPECT_GT(paid, 0);
}

TEST_F(LedgerKillTest, KilledAtEveryCallOfAFirstPurchaseNothingIsLost) {
  KillAtEveryCall([](const support::TempFolder&) {});
}

TEST_F(LedgerKillTest, KilledAtEveryCallAfterAnotherKillNothingIsLost) {
  KillAtEveryCall([](const support::TempFolder& folder) {
    LedgerChild child(folder.Path());
    const std::string bought = child.Ask("buy p0");
    EXPECT_EQ(child.Ask("finish" + bought.substr(4)), "true");
    child.Kill();
  });
}

TEST_F(LedgerKillTest, WhatIsAnsweredIsOnTheDisk) {
  const support::TempFolder folder;
  LedgerChild child;
  ASSERT_TRUE(IsTrue(child.Ask("open " + folder.File("new"))));
  for (const char* command : {"begin p", "buy p", "restore", "take"}) {
    CallTracer tracer(child.Pid());
    if (!tracer.IsAttached()) GTEST_SKIP() << "no process may be traced here: " << std::strerror(errno);
    child.Tell(command);
    std::vector<long> calls = tracer.RunToInput();
    tracer.Detach();
    EXPECT_TRUE(IsTrue(child.Answer())) << command;
    // The answer is the last call; the data before it is synced, and so are the names of a new folder and a new file.
    ASSERT_EQ(calls.back(), SYS_write) << command;
    const auto write = std::find(calls.rbegin(), calls.rend(), SYS_pwrite64);
    const auto sync = std::find(calls.rbegin(), calls.rend(), SYS_fdatasync);
    EXPECT_LE(sync - calls.rbegin(), write - calls.rbegin()) << command;
    EXPECT_GE(std::count(calls.begin(), calls.end(), SYS_fsync), command == std::string("begin p") ? 2 : 0);
  }
}

}  // namespace
