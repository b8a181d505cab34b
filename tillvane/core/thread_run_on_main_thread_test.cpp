#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/dispatch.h>
#include <tests/support/virtual_slots.h>
#include <tests/support/waiting.h>
#include <tests/support/waits.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/core/LThreadRunOnMainThread.h>
#include <tillvane/core/event_codes.h>
#include <tillvane/platform/event_queue.h>
#include <tillvane/platform/thread_id.h>

namespace {

using platform::Event;
using platform::NativeEvent;
using support::kWaits;
using support::Later;
using support::PostTest;
using support::Recorder;
using support::StopFlag;
using support::Wait;
using support::Work;

using Sender = LThreadRunOnMainThread;
using Data = LThreadRunOnMainThreadData;

class RunOnMainThread : public support::DispatchTest {};

TEST(RunOnMainThreadTypes, TheVirtualFunctionsStandInTheirOrder) {
  EXPECT_TRUE(std::has_virtual_destructor_v<Data>);
  EXPECT_TRUE(std::is_abstract_v<Data>);
  EXPECT_EQ(support::SlotOf(&Data::MainThreadFunction), 2) << "after the destructor's two";
  EXPECT_EQ(sizeof(Data), sizeof(void*));
  EXPECT_TRUE(std::has_virtual_destructor_v<Sender>);
  struct Derived : Sender {
    virtual void First() {}
  };
  EXPECT_EQ(support::SlotOf(&Derived::First), 2) << "after the destructor's two";
  EXPECT_EQ(support::SlotOf(&Sender::RunOnMainThread), -1);
}

// --- Posting and running ---

TEST_F(RunOnMainThread, RunsTheFunctionAndThenFreesTheData) {
  Sender sender;
  sender.RunOnMainThread(new Work([&] { log_.emplace_back("run"); }, [&] { log_.emplace_back("freed"); }));
  EXPECT_EQ(log_, Log{});
  EXPECT_EQ(LEventQueueCount(), 1u);
  EXPECT_TRUE(LEventQueueDrain());
  EXPECT_EQ(log_, (Log{"run", "freed"}));
  EXPECT_FALSE(LEventQueueDrain());
}

TEST_F(RunOnMainThread, WhatAnotherThreadPostsRunsOnTheMainThreadInItsOrder) {
  Sender sender;
  int next = 0;
  std::thread([&] {
    for (int i = 0; i < 100; ++i) {
      sender.RunOnMainThread(new Work([&, i] {
        EXPECT_TRUE(platform::IsMainThread());
        EXPECT_EQ(next++, i);
      }));
    }
  }).join();
  EXPECT_EQ(next, 0);
  LEventQueueDrain();
  EXPECT_EQ(next, 100);
}

TEST_F(RunOnMainThread, TheEventHasItsCodesAndTwoPointers) {
  Sender sender;
  Work* const work = Logging("run");
  sender.RunOnMainThread(work);
  Event* event = nullptr;
  ASSERT_EQ(platform::ReceiveEvent(0, &event), platform::Received::kEvent);
  constexpr unsigned int type = 0x766F6964;  // 'void'
  EXPECT_EQ(platform::EventClass(event), 0x4C4E6F74u) << "'LNot'";
  EXPECT_EQ(platform::EventKind(event), 0x4C4E646Bu) << "'LNdk'";
  Sender* from = nullptr;
  EXPECT_TRUE(platform::GetEventParameter(event, 0x4C4E7468, type, sizeof(void*), &from)) << "'LNth'";
  EXPECT_EQ(from, &sender);
  Data* data = nullptr;
  EXPECT_TRUE(platform::GetEventParameter(event, 0x4C4E6461, type, sizeof(void*), &data)) << "'LNda'";
  EXPECT_EQ(data, work);
  EXPECT_TRUE(platform::DispatchEvent(event));
  platform::ReleaseEvent(event);
  EXPECT_EQ(log_, Log{"run"});
}

TEST_F(RunOnMainThread, GoesAheadOfOrdinaryEvents) {
  Sender sender;
  const Recorder low(1, [&](Event*) { log_.emplace_back("low"); });
  const Recorder standard(2, [&](Event*) { log_.emplace_back("standard"); });
  const Recorder high(3, [&](Event*) { log_.emplace_back("high"); });
  PostTest(1, platform::kLowPriority);
  PostTest(2, platform::kStandardPriority);
  PostTest(3, platform::kHighPriority);
  sender.RunOnMainThread(Logging("work"));
  std::thread([&] { sender.RunOnMainThread(Logging("a thread's work")); }).join();
  LEventQueueDrain();
  EXPECT_EQ(log_, (Log{"high", "work", "a thread's work", "standard", "low"}));
}

TEST_F(RunOnMainThread, EveryWaitRunsWhatComesMeanwhile) {
  for (const Wait wait : kWaits) {
    SCOPED_TRACE(wait);
    Sender sender;
    StopFlag handler;
    const LSignalObject signal;
    const support::Stopwatch watch;
    const Later later(20, [&] { sender.RunOnMainThread(new Work([&] { handler.stop = true; })); });
    EXPECT_EQ(support::RunWait(wait, handler, signal, support::kLongMs), 1);
    EXPECT_LT(watch.Ms(), support::kSoonMs);
    EXPECT_EQ(sender.GetRefCount(), 0);
  }
}

TEST_F(RunOnMainThread, TheCallsThatEmptyTheQueueRunWhatIsThere) {
  Sender sender;
  bool (*const calls[])() = {LEventQueueDrain, LProcessClearEventQueue, LProcessClearCurrentEvents};
  for (auto* const call : calls) {
    for (int i = 0; i < 3; ++i) sender.RunOnMainThread(Logging(std::to_string(i)));
    EXPECT_TRUE(call());
    EXPECT_EQ(std::exchange(log_, {}), (Log{"0", "1", "2"}));
  }
}

TEST_F(RunOnMainThread, TheFunctionMayWaitAndOthersRunMeanwhile) {
  Sender sender;
  sender.RunOnMainThread(new Work([&] {
    log_.emplace_back("begin");
    sender.RunOnMainThread(Logging("posted inside"));
    EXPECT_EQ(sender.GetRefCount(), 3) << "itself, the next, and the one posted inside";
    LProcessClearCurrentEvents();
    EXPECT_EQ(sender.GetRefCount(), 1);
    log_.emplace_back("end");
  }));
  sender.RunOnMainThread(Logging("next"));
  LProcessClearEventQueue();
  EXPECT_EQ(log_, (Log{"begin", "next", "posted inside", "end"}));
  EXPECT_EQ(sender.GetRefCount(), 0);
}

// However it is reached: a host's loop, in C as a rule, cannot be left by an exception.
TEST_F(RunOnMainThread, WorkThatThrowsEndsTheProgramInEveryWait) {
  Sender sender;
  sender.RunOnMainThread(new Work([] { throw std::runtime_error("thrown by work"); }));
  bool (*const calls[])() = {LEventQueueDrain, LProcessClearEventQueue, LProcessClearCurrentEvents};
  for (auto* const call : calls) EXPECT_DEATH(call(), "thrown by work");
  EXPECT_DEATH(ProcessWaitAndProcessEvents(1000), "thrown by work");
  sender.ThreadRunOnMainThreadDestroy();
}

// --- Counting ---

TEST_F(RunOnMainThread, CountsWhatIsNotDoneYet) {
  Sender sender;
  Sender other;
  EXPECT_EQ(sender.GetRefCount(), 0);
  int while_running = 0;
  int while_freed = 0;
  for (int i = 1; i <= 3; ++i) {
    sender.RunOnMainThread(
        new Work([&] { while_running = sender.GetRefCount(); }, [&] { while_freed = sender.GetRefCount(); }));
    EXPECT_EQ(sender.GetRefCount(), i);
  }
  EXPECT_EQ(other.GetRefCount(), 0);
  LEventQueueDrain();
  EXPECT_EQ(while_running, 1) << "the last one counts until it is done";
  EXPECT_EQ(while_freed, 1);
  EXPECT_EQ(sender.GetRefCount(), 0);
}

TEST_F(RunOnMainThread, TheCountMayBeHeldByHand) {
  Sender sender;
  sender.IncRefCount();
  sender.IncRefCount();
  EXPECT_EQ(sender.GetRefCount(), 2);
  sender.DecRefCount();
  EXPECT_EQ(sender.GetRefCount(), 1);
  EXPECT_EQ(LEventQueueCount(), 0u);
  sender.RunOnMainThread(new Work);
  LEventQueueDrain();
  EXPECT_EQ(sender.GetRefCount(), 1);
}

TEST_F(RunOnMainThread, WithoutDataNothingIsPosted) {
  Sender sender;
  sender.RunOnMainThread(nullptr);
  EXPECT_EQ(LEventQueueCount(), 0u);
  EXPECT_EQ(sender.GetRefCount(), 0);
}

// --- The handler ---

/// An event of dispatch with what parameters one likes.
class DispatchEvent {
 public:
  DispatchEvent() : event_(platform::CreateEvent(core::kDispatchClass, core::kDispatchKind)) {}
  ~DispatchEvent() { platform::ReleaseEvent(event_); }
  DispatchEvent(const DispatchEvent&) = delete;
  DispatchEvent& operator=(const DispatchEvent&) = delete;

  DispatchEvent& From(Sender* sender) { return Set(core::kDispatchSender, sender); }
  DispatchEvent& Of(Data* data) { return Set(core::kDispatchData, data); }
  EventRef Native() const { return NativeEvent(event_); }

 private:
  template <class T>
  DispatchEvent& Set(unsigned int name, T* pointer) {
    EXPECT_TRUE(platform::SetEventParameter(event_, name, core::kTypeVoid, sizeof(void*), &pointer));
    return *this;
  }

  Event* event_;
};

TEST_F(RunOnMainThread, TheHandlerLeavesAloneWhatHasNoData) {
  Sender sender;
  sender.IncRefCount();
  EXPECT_EQ(Sender::EventHandler(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(Sender::EventHandler(nullptr, DispatchEvent().Native(), nullptr), 0);
  EXPECT_EQ(Sender::EventHandler(nullptr, DispatchEvent().From(&sender).Native(), nullptr), 0);
  EXPECT_EQ(Sender::EventHandler(nullptr, DispatchEvent().From(&sender).Of(nullptr).Native(), nullptr), 0);
  EXPECT_EQ(sender.GetRefCount(), 1) << "not counted down";
}

TEST_F(RunOnMainThread, TheHandlerRunsDataThatNobodySent) {
  EXPECT_EQ(Sender::EventHandler(nullptr, DispatchEvent().Of(Logging("a")).Native(), nullptr), 0);
  EXPECT_EQ(Sender::EventHandler(nullptr, DispatchEvent().From(nullptr).Of(Logging("b")).Native(), nullptr), 0);
  EXPECT_EQ(log_, (Log{"a", "b"}));
}

TEST_F(RunOnMainThread, AnEventOfTheHostsWithTheSameCodesDoesNoHarm) {
  EXPECT_TRUE(LEventQueuePost(core::kDispatchClass, core::kDispatchKind, platform::kHighPriority));
  EXPECT_TRUE(LEventQueueDrain());
}

// The filter by itself: whose event is it, and what becomes of its data?
TEST_F(RunOnMainThread, TheFilterKnowsItsOwnEvents) {
  Sender sender;
  Sender other;
  sender.IncRefCount();
  EXPECT_FALSE(sender.FlushEventFromQueue(nullptr));
  EXPECT_FALSE(sender.FlushEventFromQueue(DispatchEvent().Native()));
  EXPECT_FALSE(sender.FlushEventFromQueue(DispatchEvent().From(nullptr).Native()));
  auto foreign = std::make_unique<Work>();
  EXPECT_FALSE(sender.FlushEventFromQueue(DispatchEvent().From(&other).Of(foreign.get()).Native()));
  EXPECT_TRUE(sender.FlushEventFromQueue(DispatchEvent().From(&sender).Native()));
  EXPECT_TRUE(Sender::FlushEventFromQueueCallBack(DispatchEvent().From(&sender).Of(nullptr).Native(), &sender));
  EXPECT_EQ(sender.GetRefCount(), 1) << "nothing was withdrawn so far";
  DispatchEvent own;
  own.From(&sender).Of(new Work({}, [&] { log_.emplace_back("freed"); }));
  EXPECT_FALSE(Sender::FlushEventFromQueueCallBack(own.Native(), &other));
  EXPECT_FALSE(Sender::FlushEventFromQueueCallBack(own.Native(), nullptr));
  EXPECT_FALSE(Sender::FlushEventFromQueueCallBack(DispatchEvent().From(nullptr).Native(), nullptr));
  EXPECT_EQ(log_, Log{});
  EXPECT_TRUE(Sender::FlushEventFromQueueCallBack(own.Native(), &sender));
  EXPECT_EQ(log_, Log{"freed"});
  EXPECT_EQ(sender.GetRefCount(), 0);
  EXPECT_TRUE(sender.FlushEventFromQueue(own.Native())) << "its data is null now";
  EXPECT_EQ(sender.GetRefCount(), 0);
}

// --- Init and Destroy ---

TEST_F(RunOnMainThread, TheHandlerKeepsTheEventFromThoseBehind) {
  Sender::Destroy();
  const Recorder behind(core::kDispatchClass, core::kDispatchKind);
  Sender::Init();
  Sender sender;
  sender.RunOnMainThread(Logging("run"));
  LEventQueueDrain();
  EXPECT_EQ(log_, Log{"run"});
  EXPECT_EQ(behind.Count(), 0);
}

TEST_F(RunOnMainThread, InitAgainInstallsNothing) {
  Sender::Destroy();
  const Recorder behind(core::kDispatchClass, core::kDispatchKind);
  Sender::Init();
  Sender::Init();
  Sender::Init();
  Sender::Destroy();
  Sender sender;
  const std::unique_ptr<Work> nobodys(Logging("run"));
  sender.RunOnMainThread(nobodys.get());
  LEventQueueDrain();
  EXPECT_EQ(log_, Log{}) << "one Destroy takes away all that Init installed";
  EXPECT_EQ(behind.Count(), 1);
}

TEST_F(RunOnMainThread, AfterDestroyWhatIsDispatchedIsLostAndWhatIsQueuedCanBeWithdrawn) {
  Sender sender;
  const std::unique_ptr<Work> lost(Logging("run"));
  sender.RunOnMainThread(lost.get());
  Sender::Destroy();
  LEventQueueDrain();
  EXPECT_EQ(sender.GetRefCount(), 1) << "it is still counted";
  sender.RunOnMainThread(new Work({}, [&] { log_.emplace_back("freed"); }));
  EXPECT_EQ(sender.GetRefCount(), 2);
  sender.ThreadRunOnMainThreadDestroy();
  EXPECT_EQ(log_, Log{"freed"});
  EXPECT_EQ(sender.GetRefCount(), 1);
  EXPECT_EQ(LEventQueueCount(), 0u);
}

TEST_F(RunOnMainThread, DestroyWithoutInitDoesNothing) {
  Sender::Destroy();
  Sender::Destroy();
  Sender::Init();
  Sender sender;
  sender.RunOnMainThread(Logging("run"));
  LEventQueueDrain();
  EXPECT_EQ(log_, Log{"run"});
}

TEST_F(RunOnMainThread, WorkMayEndItAllAndBeginAnew) {
  Sender sender;
  sender.RunOnMainThread(new Work([&] {
    Sender::Destroy();
    Sender::Init();
  }));
  sender.RunOnMainThread(Logging("run"));
  LEventQueueDrain();
  EXPECT_EQ(log_, Log{"run"});
}

}  // namespace
