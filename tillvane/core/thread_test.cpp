#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tests/support/open_descriptors.h>
#include <tests/support/threads.h>
#include <tests/support/virtual_slots.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LThread.h>
#include <tillvane/platform/thread_id.h>

namespace {

using support::FunctionThread;
using support::kAtOnceMs;
using support::kLongMs;
using support::kOrdinaryPriority;
using support::kSoonMs;
using support::SleepUntilStopped;
using support::SlotOf;
using support::Stopwatch;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;

TEST(ThreadLayout, TheVirtualFunctionsStandInTheirOrder) {
  EXPECT_EQ(SlotOf(&LThread::IsToStop), 0);
  EXPECT_EQ(SlotOf(&LThread::ProcessWait), 1);
  EXPECT_EQ(SlotOf(&LThread::ProcessWaitSignal), 2);
  EXPECT_EQ(SlotOf(&LThread::ProcessWaitSignalObjectGroup), 3);
  EXPECT_EQ(SlotOf(&LThread::SetProgressIndeterminateOff), 8);
  // Between them the destructor's two.
  EXPECT_EQ(SlotOf(&LThread::ThreadFunction), 11);
  EXPECT_EQ(SlotOf(&LThread::Start), -1);
  EXPECT_EQ(SlotOf(&LThread::StopThreadSoon), -1);
}

/// The waits of a thread that was not started, called by the test's own.
class ThreadWaits : public testing::Test {
 protected:
  FunctionThread thread_{[](LThread&) {}};
  LSignalObject signal_;
};

TEST_F(ThreadWaits, ASignalIsZero) {
  signal_.Signal();
  EXPECT_EQ(thread_.ProcessWaitSignal(signal_, kLongMs), 0);
  EXPECT_EQ(thread_.ProcessWaitSignal(signal_, kNoLimit), 0);
}

TEST_F(ThreadWaits, AStopRequestIsOneAndWinsOverTheSignal) {
  thread_.StopThreadSoon();
  EXPECT_EQ(thread_.ProcessWaitSignal(signal_, kLongMs), 1);
  signal_.Signal();
  EXPECT_EQ(thread_.ProcessWaitSignal(signal_, kLongMs), 1);
}

TEST_F(ThreadWaits, TimeThatPassesIsTwo) {
  const Stopwatch watch;
  EXPECT_EQ(thread_.ProcessWaitSignal(signal_, 30), 2);
  EXPECT_GE(watch.Ms() + 1, 30);
  EXPECT_EQ(thread_.ProcessWaitSignal(signal_, 0), 2);
}

TEST_F(ThreadWaits, ADescriptorThatIsNoneIsTwoAtOnce) {
  LSignalObjectRef none;
  const Stopwatch watch;
  EXPECT_EQ(thread_.ProcessWaitSignal(none, kNoLimit), 2);
  none.filedes[0] = 900;
  EXPECT_EQ(thread_.ProcessWaitSignal(none, kNoLimit), 2);
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST_F(ThreadWaits, AnInterruptionIsTwo) {
  const support::Interrupter interrupter(1000);
  const Stopwatch watch;
  EXPECT_EQ(thread_.ProcessWaitSignal(signal_, kLongMs), 2);
  LSignalObjectGroup group;
  group.Add(signal_);
  EXPECT_EQ(thread_.ProcessWaitSignalObjectGroup(group, kLongMs), 2);
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(ThreadWaits, APauseEndsWithAStopRequest) {
  EXPECT_FALSE(thread_.ProcessWait(10));
  thread_.StopThreadSoon();
  const Stopwatch watch;
  EXPECT_TRUE(thread_.ProcessWait(kLongMs));
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST_F(ThreadWaits, APauseEndsWithTheEndOfTheThread) {
  thread_.Start(kOrdinaryPriority);
  thread_.JoinThread();
  const Stopwatch watch;
  EXPECT_TRUE(thread_.ProcessWait(kLongMs));
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST_F(ThreadWaits, APauseEndsWithAnInterruption) {
  const support::Interrupter interrupter(1000);
  const Stopwatch watch;
  EXPECT_TRUE(thread_.ProcessWait(kLongMs));
  EXPECT_LT(watch.Ms(), kSoonMs);
}

TEST_F(ThreadWaits, AGroupIsWaitedForInPlace) {
  const LSignalObject silent;
  LSignalObjectGroup group;
  group.Add(signal_);
  group.Add(silent);
  signal_.Signal();
  EXPECT_EQ(thread_.ProcessWaitSignalObjectGroup(group, kLongMs), 0);
  // What was not ready is no member any more, the stop signal included.
  thread_.StopThreadSoon();
  signal_.Reset();
  silent.Signal();
  EXPECT_FALSE(group.Select(0));
}

TEST_F(ThreadWaits, AGroupHasTheStopSignalAfterwards) {
  LSignalObjectGroup group;
  group.Add(signal_);
  thread_.StopThreadSoon();
  signal_.Signal();
  EXPECT_EQ(thread_.ProcessWaitSignalObjectGroup(group, kLongMs), 1);
  signal_.Reset();
  EXPECT_TRUE(group.Select(0)) << "the stop signal is a member";
}

TEST_F(ThreadWaits, AGroupAfterItsTimeIsEmpty) {
  LSignalObjectGroup group;
  group.Add(signal_);
  EXPECT_EQ(thread_.ProcessWaitSignalObjectGroup(group, 10), 2);
  signal_.Signal();
  thread_.StopThreadSoon();
  EXPECT_FALSE(group.Select(0));
}

TEST_F(ThreadWaits, AFullGroupIsDeafToStopRequests) {
  LSignalObjectGroup group;
  for (int i = 0; i < 255; ++i) group.Add(signal_);
  thread_.StopThreadSoon();
  EXPECT_EQ(thread_.ProcessWaitSignalObjectGroup(group, 10), 2);
}

/// A thread whose descriptors are as high as `lowest`.
class HighThread {
 public:
  explicit HighThread(int lowest) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    for (int fd = open("/dev/null", O_RDONLY | O_CLOEXEC); fd >= 0; fd = dup(fd)) {
      fillers_.push_back(fd);
      if (fd >= lowest) break;
    }
    if (fillers_.empty() || fillers_.back() < lowest) return;
    thread = std::make_unique<FunctionThread>(SleepUntilStopped);
  }
  ~HighThread() {
    thread.reset();
    for (const int fd : fillers_) close(fd);
  }
  HighThread(const HighThread&) = delete;
  HighThread& operator=(const HighThread&) = delete;

  std::unique_ptr<FunctionThread> thread;

 private:
  std::vector<int> fillers_;
};

TEST(ThreadDescriptors, BeyondTheSetTheWaitsForOneSignalStillHearAStop) {
  const HighThread high(1030);
  if (!high.thread) GTEST_SKIP() << "this process may not open so many descriptors";
  high.thread->StopThreadSoon();
  LSignalObject signal;
  EXPECT_EQ(high.thread->ProcessWaitSignal(signal, kLongMs), 1);
  EXPECT_TRUE(high.thread->ProcessWait(kLongMs));
  // The group cannot hold it, and nothing is written outside of the group.
  LSignalObjectGroup group;
  group.Add(signal);
  EXPECT_EQ(high.thread->ProcessWaitSignalObjectGroup(group, 10), 2);
}

TEST(ThreadDescriptors, AThreadHasSixAndLeavesNone) {
  const auto before = support::ListOpenDescriptors().size();
  {
    FunctionThread thread(SleepUntilStopped);
    thread.Start(kOrdinaryPriority);
    EXPECT_EQ(support::ListOpenDescriptors().size(), before + 6);
    thread.StopThreadAndWait();
    thread.Start(kOrdinaryPriority);
    EXPECT_EQ(support::ListOpenDescriptors().size(), before + 6);
  }
  EXPECT_EQ(support::ListOpenDescriptors().size(), before);
}

TEST(ThreadStart, RunsTheFunctionOnAThreadOfItsOwn) {
  std::thread::id other;
  bool is_main = true;
  FunctionThread thread([&](LThread&) {
    other = std::this_thread::get_id();
    is_main = LIsMainThread();
  });
  EXPECT_EQ(thread.Start(kOrdinaryPriority), 0);
  thread.JoinThread();
  EXPECT_EQ(thread.runs, 1);
  EXPECT_NE(other, std::this_thread::get_id());
  EXPECT_FALSE(is_main);
  EXPECT_TRUE(LIsMainThread());
}

TEST(ThreadStart, ASecondStartWhileItRunsDoesNothing) {
  FunctionThread thread(SleepUntilStopped);
  EXPECT_EQ(thread.Start(kOrdinaryPriority), 0);
  EXPECT_EQ(thread.Start(kOrdinaryPriority), 0);
  EXPECT_TRUE(thread.IsRunning());
  EXPECT_FALSE(thread.IsToStop());
  thread.StopThreadAndWait();
  EXPECT_EQ(thread.runs, 1);
}

TEST(ThreadStart, AfterTheEndItStartsAgain) {
  FunctionThread thread([](LThread&) {});
  for (int i = 1; i <= 3; ++i) {
    thread.Start(kOrdinaryPriority);
    ASSERT_TRUE(thread.EndedSignal().WaitSignal(kLongMs));
    thread.JoinThread();
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_EQ(thread.runs, i);
  }
}

TEST(ThreadStart, ForgetsEarlierStopRequestsAndEnds) {
  FunctionThread thread(SleepUntilStopped);
  thread.StopThreadSoon();
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(thread.IsToStop());
    thread.Start(kOrdinaryPriority);
    EXPECT_FALSE(thread.IsToStop());
    EXPECT_FALSE(thread.EndedSignal().IsSignaled());
    EXPECT_FALSE(thread.ProcessWait(10));
    thread.StopThreadAndWait();
    EXPECT_TRUE(thread.EndedSignal().IsSignaled());
  }
}

TEST(ThreadStart, WaitsThroughTheThreadsOwnFunction) {
  class Noting : public FunctionThread {
   public:
    using FunctionThread::FunctionThread;
    int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override {
      if (!noted++) first_ms = ms;
      const int answer = FunctionThread::ProcessWaitSignal(signal, ms);
      was_signalled = signal.IsSignaled();
      return answer;
    }
    int noted = 0;
    unsigned int first_ms = 0;
    bool was_signalled = false;
  };
  Noting thread([](LThread&) {});
  thread.Start(kOrdinaryPriority);
  EXPECT_EQ(thread.noted, 1);
  EXPECT_EQ(thread.first_ms, kNoLimit);
  EXPECT_TRUE(thread.was_signalled) << "the started signal";
  thread.JoinThread();
}

/// A thread that leaves its end to the base class.
class Careless : public LThread {
 public:
  void ThreadFunction() override {
    began = true;
    while (!LThread::IsToStop()) LThread::ProcessWait(kNoLimit);
    support::SleepMs(20);
    returned = true;
  }

  static inline std::atomic<bool> began{false}, returned{false};
};

TEST(ThreadEnd, TheDestructorAsksToStopAndWaits) {
  {
    Careless thread;
    thread.Start(kOrdinaryPriority);
    // By then the function has been called, and the object is whole no longer.
    ASSERT_TRUE(support::WaitUntil([] { return Careless::began.load(); }));
  }
  EXPECT_TRUE(Careless::returned);
}

TEST(ThreadEnd, WhoStopsWaitsForAStartThatHasNotAnswered) {
  class SlowStart : public FunctionThread {
   public:
    using FunctionThread::FunctionThread;
    ~SlowStart() override { StopThreadAndWait(); }
    int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override {
      const int answer = FunctionThread::ProcessWaitSignal(signal, ms);
      support::SleepMs(50);
      has_answered = true;
      return answer;
    }
    std::atomic<bool> has_answered{false};
  };
  for (const bool joins : {true, false}) {
    SlowStart thread([](LThread&) {});
    std::thread starter([&] { thread.Start(kOrdinaryPriority); });
    EXPECT_TRUE(thread.EndedSignal().WaitSignal(kLongMs));
    joins ? thread.JoinThread() : thread.StopThreadAndWait();
    EXPECT_TRUE(thread.has_answered);
    starter.join();
  }
}

TEST(ThreadEnd, WaitsForNothingWhereNoThreadRuns) {
  FunctionThread thread([](LThread&) {});
  const Stopwatch watch;
  thread.JoinThread();
  thread.StopThreadAndWait();
  EXPECT_FALSE(thread.EndedSignal().IsSignaled());
  thread.Start(kOrdinaryPriority);
  thread.StopThreadAndWait();
  thread.StopThreadAndWait();
  thread.JoinThread();
  EXPECT_LT(watch.Ms(), kAtOnceMs);
}

TEST(ThreadEnd, AStopRequestReachesAThreadThatSomebodyJoins) {
  FunctionThread thread([](LThread& self) {
    SleepUntilStopped(self);
    support::SleepMs(50);
  });
  thread.Start(kOrdinaryPriority);
  std::thread joiner([&] { thread.JoinThread(); });
  support::SleepMs(20);
  thread.StopThreadAndWait();
  EXPECT_FALSE(thread.IsRunning());
  joiner.join();
}

TEST(ThreadEnd, AFunctionMayEndItsThreadItself) {
  FunctionThread thread([](LThread&) { pthread_exit(nullptr); });
  thread.Start(kOrdinaryPriority);
  EXPECT_TRUE(thread.EndedSignal().WaitSignal(kLongMs));
  thread.JoinThread();
  EXPECT_FALSE(thread.IsRunning());
  thread.Start(kOrdinaryPriority);
  thread.JoinThread();
  EXPECT_EQ(thread.runs, 2);
}

/// How many mappings the process has: an unreaped thread keeps its stack and the guard page below it.
int Mappings() {
  std::ifstream maps("/proc/self/maps");
  int count = 0;
  for (std::string line; std::getline(maps, line);) ++count;
  return count;
}

TEST(ThreadEnd, AThreadThatEndsByItselfGivesBackItsStack) {
  FunctionThread thread([](LThread&) {});
  const auto run = [&](int times) {
    for (int i = 0; i < times; ++i) {
      thread.Start(kOrdinaryPriority);
      // Nobody takes the handle.
      while (thread.IsRunning()) thread.EndedSignal().WaitSignal(kLongMs);
    }
  };
  // One that was joined before, and joins of nothing, change nothing about that.
  thread.Start(kOrdinaryPriority);
  thread.JoinThread();
  thread.JoinThread();
  run(50);
  const int before = Mappings();
  run(500);
  EXPECT_LT(Mappings(), before + 250);
}

/// A nice value that any process may give: a little worse than the test's own.
int WorseNice(int steps) { return std::min(getpriority(PRIO_PROCESS, 0) + steps, 19); }
/// The priority that stands for it.
int PriorityOf(int nice) { return 31 - nice; }

TEST(ThreadPriority, IsOfARunningThreadOnly) {
  const int priority = PriorityOf(WorseNice(1));
  FunctionThread thread(SleepUntilStopped);
  EXPECT_EQ(thread.SetPriority(priority), ESRCH);
  EXPECT_EQ(thread.SetPriority(91), ESRCH);
  thread.Start(priority);
  EXPECT_EQ(thread.SetPriority(priority), 0);
  thread.StopThreadAndWait();
  EXPECT_EQ(thread.SetPriority(priority), ESRCH);
}

/// Notes the number of its thread and sleeps until it is stopped.
class Numbered : public FunctionThread {
 public:
  Numbered()
      : FunctionThread([this](LThread& self) {
          id = platform::CurrentThreadId();
          SleepUntilStopped(self);
        }) {}
  ~Numbered() override { StopThreadAndWait(); }

  int Nice() {
    EXPECT_TRUE(support::WaitUntil([this] { return id != 0; }));
    return getpriority(PRIO_PROCESS, id);
  }

  std::atomic<unsigned int> id{0};
};

TEST(ThreadPriority, IsGivenByTheStart) {
  for (const int steps : {2, 4}) {
    Numbered thread;
    thread.Start(PriorityOf(WorseNice(steps)));
    EXPECT_EQ(thread.Nice(), WorseNice(steps));
  }
}

TEST(ThreadPriority, MayChangeWhileSomebodyJoins) {
  Numbered thread;
  thread.Start(PriorityOf(WorseNice(1)));
  std::thread joiner([&] { thread.JoinThread(); });
  support::SleepMs(20);
  EXPECT_EQ(thread.SetPriority(PriorityOf(WorseNice(3))), 0);
  EXPECT_EQ(thread.Nice(), WorseNice(3));
  thread.StopThreadSoon();
  joiner.join();
}

bool MayBeRealTime() {
  bool may = false;
  std::thread([&] {
    sched_param lowest{};
    lowest.sched_priority = 1;
    may = sched_setscheduler(0, SCHED_RR, &lowest) == 0;
  }).join();
  return may;
}

TEST(ThreadPriority, NinetyOneIsRealTime) {
  if (!MayBeRealTime()) GTEST_SKIP() << "this user may not make threads real-time";
  Numbered thread;
  thread.Start(PriorityOf(WorseNice(1)));
  EXPECT_EQ(thread.SetPriority(91), 0);
  EXPECT_NE(thread.Nice(), -1);
  const int policy = sched_getscheduler(static_cast<pid_t>(thread.id.load())) & ~SCHED_RESET_ON_FORK;
  EXPECT_EQ(policy, SCHED_RR);
}

TEST(ThreadPriority, ARequestThatComesBeforeTheStartAnswersDoesNotLoseIt) {
  class Hasty : public Numbered {
   public:
    int ProcessWaitSignal(LSignalObjectRef, unsigned int) override {
      StopThreadSoon();
      return 1;
    }
    void ThreadFunction() override {
      id = platform::CurrentThreadId();
      while (!may_return) support::SleepMs(1);
    }
    std::atomic<bool> may_return{false};
  };
  Hasty thread;
  for (const int steps : {5, 3}) {
    thread.id = 0;
    thread.may_return = false;
    thread.Start(PriorityOf(WorseNice(steps)));
    EXPECT_EQ(thread.Nice(), WorseNice(steps));
    thread.may_return = true;
    thread.JoinThread();
  }
}

}  // namespace
