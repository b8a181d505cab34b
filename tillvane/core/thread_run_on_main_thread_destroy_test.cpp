#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/dispatch.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/LThreadRunOnMainThread.h>

namespace {

using support::PostTest;
using support::Recorder;
using support::Work;

using Sender = LThreadRunOnMainThread;

class RunOnMainThreadDestroy : public support::DispatchTest {
 protected:
  /// Work that logs whether it was run or freed.
  Work* Told(const std::string& name, Work::Function run = {}, Work::Function freed = {}) {
    return new Work(
        [this, name, run = std::move(run)] {
          log_.push_back(name + " runs");
          if (run) run();
        },
        [this, name, freed = std::move(freed)] {
          log_.push_back(name + " freed");
          if (freed) freed();
        });
  }
};

TEST_F(RunOnMainThreadDestroy, WithdrawsAndFreesWhatIsQueued) {
  Sender sender;
  for (const char* name : {"a", "b", "c"}) sender.RunOnMainThread(Told(name));
  sender.ThreadRunOnMainThreadDestroy();
  EXPECT_EQ(log_, (Log{"a freed", "b freed", "c freed"}));
  EXPECT_EQ(sender.GetRefCount(), 0);
  EXPECT_EQ(LEventQueueCount(), 0u);
  sender.ThreadRunOnMainThreadDestroy();
  EXPECT_FALSE(LEventQueueDrain());
}

TEST_F(RunOnMainThreadDestroy, WhatIsWithdrawnCountsUntilItIsFreed) {
  Sender sender;
  std::vector<int> counts;
  for (int i = 0; i < 3; ++i) sender.RunOnMainThread(new Work({}, [&] { counts.push_back(sender.GetRefCount()); }));
  sender.ThreadRunOnMainThreadDestroy();
  EXPECT_EQ(counts, (std::vector<int>{3, 2, 1}));
}

// The two bytes at the beginning, which hosts in binary form look at: active and destroying.
TEST_F(RunOnMainThreadDestroy, ASenderIsActiveUntilAllIsWithdrawn) {
  Sender sender;
  const auto state = [&] {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(&sender) + sizeof(void*);
    return std::pair<int, int>(bytes[0], bytes[1]);
  };
  EXPECT_EQ(state(), std::pair(1, 0));
  sender.RunOnMainThread(Told("a", {}, [&] { EXPECT_EQ(state(), std::pair(1, 1)); }));
  sender.ThreadRunOnMainThreadDestroy();
  EXPECT_EQ(log_, Log{"a freed"});
  EXPECT_EQ(state(), std::pair(0, 1));
}

TEST_F(RunOnMainThreadDestroy, LeavesTheEventsOfOthers) {
  std::optional<Sender> sender(std::in_place);
  Sender other;
  const Recorder host(1, [&](auto*) { log_.emplace_back("the host's event"); });
  for (const char* name : {"a", "b"}) {
    sender->RunOnMainThread(Told(name));
    PostTest(1);
    other.RunOnMainThread(Told(std::string("other's ") + name));
  }
  sender->ThreadRunOnMainThreadDestroy();
  sender.reset();
  EXPECT_EQ(std::exchange(log_, {}), (Log{"a freed", "b freed"}));
  EXPECT_EQ(other.GetRefCount(), 2);
  EXPECT_EQ(LEventQueueCount(), 4u);
  LEventQueueDrain();
  EXPECT_EQ(log_, (Log{"other's a runs", "other's a freed", "other's b runs", "other's b freed", "the host's event",
                       "the host's event"}));
}

TEST_F(RunOnMainThreadDestroy, DropsLaterPostsAndLeavesTheirDataAlone) {
  Sender sender;
  sender.ThreadRunOnMainThreadDestroy();
  const std::unique_ptr<Work> work(Told("a"));
  sender.RunOnMainThread(work.get());
  EXPECT_EQ(sender.GetRefCount(), 0);
  EXPECT_EQ(LEventQueueCount(), 0u);
  EXPECT_FALSE(LEventQueueDrain());
  EXPECT_EQ(log_, Log{});
}

// --- From within the work ---

TEST_F(RunOnMainThreadDestroy, WorkMayDestroyItsSender) {
  Sender sender;
  sender.RunOnMainThread(Told("a", [&] {
    sender.ThreadRunOnMainThreadDestroy();
    EXPECT_EQ(sender.GetRefCount(), 1) << "the one that runs";
    EXPECT_EQ(log_.back(), "b freed");
  }));
  sender.RunOnMainThread(Told("b"));
  LEventQueueDrain();
  EXPECT_EQ(log_, (Log{"a runs", "b freed", "a freed"}));
  EXPECT_EQ(sender.GetRefCount(), 0) << "it is still there, and counted down";
}

TEST_F(RunOnMainThreadDestroy, WorkMayFreeItsSender) {
  auto* const sender = new Sender;
  sender->RunOnMainThread(Told("a", [=] {
    sender->ThreadRunOnMainThreadDestroy();
    delete sender;
  }));
  sender->RunOnMainThread(Told("b"));
  LEventQueueDrain();
  EXPECT_EQ(log_, (Log{"a runs", "b freed", "a freed"}));
}

// A sender that is made in the place of a freed one has nothing to do with it.
TEST_F(RunOnMainThreadDestroy, WorkMayPutAnotherSenderInThePlaceOfItsOwn) {
  std::optional<Sender> sender(std::in_place);
  sender->RunOnMainThread(Told("a", [&] {
    sender->ThreadRunOnMainThreadDestroy();
    sender.emplace();
  }));
  LEventQueueDrain();
  EXPECT_EQ(sender->GetRefCount(), 0);
  EXPECT_EQ(log_, (Log{"a runs", "a freed"}));
}

// The inner one frees the sender whose outer work waits.
TEST_F(RunOnMainThreadDestroy, WorkThatRunsInsideOfWorkMayFreeTheSender) {
  auto* const sender = new Sender;
  Sender other;
  const auto free_sender = [=] {
    sender->ThreadRunOnMainThreadDestroy();
    delete sender;
  };
  sender->RunOnMainThread(Told("outer", [] { LProcessClearCurrentEvents(); }));
  other.RunOnMainThread(Told("other's", [] { LProcessClearCurrentEvents(); }));
  sender->RunOnMainThread(Told("inner", free_sender));
  sender->RunOnMainThread(Told("never"));
  LProcessClearCurrentEvents();
  EXPECT_EQ(log_, (Log{"outer runs", "other's runs", "inner runs", "never freed", "inner freed", "other's freed",
                       "outer freed"}));
  EXPECT_EQ(other.GetRefCount(), 0);
}

TEST_F(RunOnMainThreadDestroy, WorkMayFreeAnotherSender) {
  Sender sender;
  auto* const other = new Sender;
  other->RunOnMainThread(Told("before"));
  sender.RunOnMainThread(Told("a", [=] {
    other->ThreadRunOnMainThreadDestroy();
    delete other;
  }));
  other->RunOnMainThread(Told("behind"));
  sender.RunOnMainThread(Told("b"));
  LEventQueueDrain();
  EXPECT_EQ(log_, (Log{"before runs", "before freed", "a runs", "behind freed", "a freed", "b runs", "b freed"}));
  EXPECT_EQ(sender.GetRefCount(), 0);
}

// --- From within the destructor of the data ---

TEST_F(RunOnMainThreadDestroy, DataThatWasRunMayFreeItsSender) {
  auto* const sender = new Sender;
  sender->RunOnMainThread(Told("a", {}, [=] {
    sender->ThreadRunOnMainThreadDestroy();
    delete sender;
  }));
  sender->RunOnMainThread(Told("b"));
  LEventQueueDrain();
  EXPECT_EQ(log_, (Log{"a runs", "a freed", "b freed"}));
}

TEST_F(RunOnMainThreadDestroy, DataThatIsWithdrawnMayDestroyItsSenderAgain) {
  Sender sender;
  for (const char* name : {"a", "b", "c"}) {
    sender.RunOnMainThread(Told(name, {}, [&] { sender.ThreadRunOnMainThreadDestroy(); }));
  }
  sender.ThreadRunOnMainThreadDestroy();
  EXPECT_EQ(log_, (Log{"a freed", "b freed", "c freed"}));
  EXPECT_EQ(sender.GetRefCount(), 0);
  EXPECT_EQ(LEventQueueCount(), 0u);
}

TEST_F(RunOnMainThreadDestroy, DataThatIsWithdrawnMayFreeItsSender) {
  for (const std::string frees : {"a", "b", "c"}) {
    SCOPED_TRACE(frees);
    auto* const sender = new Sender;
    Sender other;
    for (const std::string name : {"a", "b", "c"}) {
      sender->RunOnMainThread(Told(name, {}, [=] {
        if (name != frees) return;
        sender->ThreadRunOnMainThreadDestroy();
        delete sender;
      }));
      other.RunOnMainThread(new Work);
    }
    sender->ThreadRunOnMainThreadDestroy();
    EXPECT_EQ(std::exchange(log_, {}), (Log{"a freed", "b freed", "c freed"}));
    EXPECT_EQ(LEventQueueCount(), 3u);
    other.ThreadRunOnMainThreadDestroy();
  }
}

// The withdrawal of the one that was freed neither counts for the new one, nor takes its events, nor closes it.
TEST_F(RunOnMainThreadDestroy, DataThatIsWithdrawnMayPutAnotherSenderInThePlaceOfItsOwn) {
  for (const std::string puts : {"a", "b"}) {
    SCOPED_TRACE(puts);
    std::optional<Sender> sender(std::in_place);
    for (const std::string name : {"a", "b"}) {
      sender->RunOnMainThread(Told(name, {}, [&, name] {
        if (name != puts) return;
        sender->ThreadRunOnMainThreadDestroy();
        sender.emplace();
        sender->RunOnMainThread(Told("new"));
      }));
    }
    sender->ThreadRunOnMainThreadDestroy();
    EXPECT_EQ(std::exchange(log_, {}), (Log{"a freed", "b freed"}));
    sender->RunOnMainThread(Told("later"));
    EXPECT_EQ(sender->GetRefCount(), 2);
    LEventQueueDrain();
    EXPECT_EQ(std::exchange(log_, {}), (Log{"new runs", "new freed", "later runs", "later freed"}));
    EXPECT_EQ(sender->GetRefCount(), 0);
  }
}

TEST_F(RunOnMainThreadDestroy, DataThatIsWithdrawnMayPost) {
  Sender sender;
  Sender other;
  const std::unique_ptr<Work> dropped(Told("dropped"));
  sender.RunOnMainThread(Told("a", {}, [&] {
    other.RunOnMainThread(Told("other's"));
    sender.RunOnMainThread(dropped.get());
  }));
  sender.ThreadRunOnMainThreadDestroy();
  EXPECT_EQ(std::exchange(log_, {}), Log{"a freed"});
  EXPECT_EQ(LEventQueueCount(), 1u);
  LEventQueueDrain();
  EXPECT_EQ(log_, (Log{"other's runs", "other's freed"}));
  EXPECT_EQ(sender.GetRefCount(), 0);
  EXPECT_EQ(other.GetRefCount(), 0);
}

// Its events stand before, between and behind those that are withdrawn.
TEST_F(RunOnMainThreadDestroy, DataThatIsWithdrawnMayFreeAnotherSender) {
  for (const std::string frees : {"a", "b"}) {
    SCOPED_TRACE(frees);
    Sender sender;
    auto* const other = new Sender;
    for (const std::string name : {"a", "b"}) {
      other->RunOnMainThread(Told("other's"));
      sender.RunOnMainThread(Told(name, {}, [=] {
        if (name != frees) return;
        other->ThreadRunOnMainThreadDestroy();
        delete other;
      }));
    }
    other->RunOnMainThread(Told("other's"));
    sender.ThreadRunOnMainThreadDestroy();
    const Log three(3, "other's freed");
    Log expected{"a freed", "b freed"};
    expected.insert(expected.begin() + (frees == "a" ? 1 : 2), three.begin(), three.end());
    EXPECT_EQ(std::exchange(log_, {}), expected);
    EXPECT_EQ(sender.GetRefCount(), 0);
    EXPECT_EQ(LEventQueueCount(), 0u);
  }
}

// The wait comes upon the very event that is being withdrawn, and upon the rest.
TEST_F(RunOnMainThreadDestroy, DataThatIsWithdrawnMayWait) {
  Sender sender;
  Sender other;
  sender.RunOnMainThread(Told("a", {}, [] { LProcessClearCurrentEvents(); }));
  sender.RunOnMainThread(Told("b"));
  other.RunOnMainThread(Told("other's"));
  sender.ThreadRunOnMainThreadDestroy();
  EXPECT_EQ(log_, (Log{"a freed", "b runs", "b freed", "other's runs", "other's freed"}));
  EXPECT_EQ(sender.GetRefCount(), 0);
  EXPECT_EQ(other.GetRefCount(), 0);
  EXPECT_EQ(LEventQueueCount(), 0u);
}

// Work that waits, data that is freed in the wait, a sender that is freed by it: all at once.
TEST_F(RunOnMainThreadDestroy, AllOfItNested) {
  auto* const sender = new Sender;
  Sender other;
  sender->RunOnMainThread(Told("outer", [] { LProcessClearCurrentEvents(); }));
  other.RunOnMainThread(Told("other's", [=] { sender->ThreadRunOnMainThreadDestroy(); }));
  sender->RunOnMainThread(Told("withdrawn", {}, [this, sender, &other] {
    sender->ThreadRunOnMainThreadDestroy();
    delete sender;
    other.RunOnMainThread(Told("late"));
    LProcessClearCurrentEvents();
  }));
  LProcessClearCurrentEvents();
  EXPECT_EQ(log_, (Log{"outer runs", "other's runs", "withdrawn freed", "late runs", "late freed", "other's freed",
                       "outer freed"}));
  EXPECT_EQ(other.GetRefCount(), 0);
}

}  // namespace
