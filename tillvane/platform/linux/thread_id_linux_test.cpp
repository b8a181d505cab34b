#include <tillvane/platform/linux/thread_id_linux.h>

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <functional>
#include <future>
#include <thread>

namespace {

using platform::SetThreadPriority;
using platform::SetThreadRealTime;

/// A thread that does nothing but live as long as this; it may do something first.
class IdleThread {
 public:
  explicit IdleThread(const std::function<void()>& first = [] {})
      : thread_([this, first] {
          first();
          id_.set_value(platform::CurrentThreadId());
          end_.get_future().wait();
        }),
        number_(id_.get_future().get()) {}
  ~IdleThread() {
    end_.set_value();
    thread_.join();
  }
  IdleThread(const IdleThread&) = delete;
  IdleThread& operator=(const IdleThread&) = delete;

  unsigned int Id() const { return number_; }
  pid_t Pid() const { return static_cast<pid_t>(number_); }

  int SetPriority(int priority) { return SetThreadPriority(thread_.native_handle(), number_, priority); }
  int SetRealTime() { return SetThreadRealTime(thread_.native_handle(), number_); }

  /// A nice value; INT_MAX when there is none.
  int Nice() const {
    errno = 0;
    const int nice = getpriority(PRIO_PROCESS, number_);
    return errno == 0 ? nice : INT_MAX;
  }
  /// Without the flag of inheritance.
  int Policy() const { return sched_getscheduler(Pid()) & ~SCHED_RESET_ON_FORK; }
  bool IsInherited() const { return (sched_getscheduler(Pid()) & SCHED_RESET_ON_FORK) == 0; }

 private:
  std::promise<unsigned int> id_;
  std::promise<void> end_;
  std::thread thread_;
  const unsigned int number_;
};

bool MayRaise() {
  const IdleThread thread;
  return setpriority(PRIO_PROCESS, thread.Id(), -20) == 0;
}

/// By the kernel: where it refuses, a service would be asked.
bool MayBeRealTime() {
  const sched_param lowest{sched_get_priority_min(SCHED_RR)};
  const IdleThread thread;
  return MayRaise() && sched_setscheduler(thread.Pid(), SCHED_RR, &lowest) == 0;
}

constexpr const char* kNoRight = "this process has no right to raise the priority of a thread";

struct NiceCase {
  int priority, nice;
};

void PrintTo(const NiceCase& c, std::ostream* out) { *out << "priority " << c.priority << ", nice " << c.nice; }

/// Each on a thread of its own, which begins with nice 0.
void ExpectNice(const NiceCase& c) {
  SCOPED_TRACE(testing::PrintToString(c));
  IdleThread thread([] { setpriority(PRIO_PROCESS, platform::CurrentThreadId(), 0); });
  EXPECT_EQ(thread.SetPriority(c.priority), 0);
  EXPECT_EQ(thread.Nice(), c.nice);
  EXPECT_EQ(thread.Policy(), SCHED_OTHER);
}

TEST(ThreadPriority, LowerThanTheDefaultIsANiceValueAboveZero) {
  if (getpriority(PRIO_PROCESS, 0) > 0) GTEST_SKIP() << "this process was started with a nice value above 0";
  for (const NiceCase& c : {NiceCase{31, 0}, NiceCase{30, 1}, NiceCase{21, 10}, NiceCase{13, 18}, NiceCase{12, 19},
                            NiceCase{11, 19}, NiceCase{5, 19}, NiceCase{0, 19}, NiceCase{-1, 19}, NiceCase{INT_MIN, 19},
                            NiceCase{INT_MIN + 30, 19}, NiceCase{INT_MIN + 31, 19}, NiceCase{INT_MIN + 32, 19}}) {
    ExpectNice(c);
  }
}

TEST(ThreadPriority, HigherThanTheDefaultIsANiceValueBelowZero) {
  if (!MayRaise()) GTEST_SKIP() << kNoRight;
  for (const NiceCase& c : {NiceCase{32, -1}, NiceCase{50, -19}, NiceCase{51, -20}, NiceCase{52, -20},
                            NiceCase{60, -20}, NiceCase{91, -20}, NiceCase{INT_MAX, -20}}) {
    ExpectNice(c);
  }
}

TEST(ThreadPriority, GoesUpAgain) {
  if (!MayRaise()) GTEST_SKIP() << kNoRight;
  IdleThread thread;
  for (const NiceCase& c : {NiceCase{12, 19}, NiceCase{40, -9}, NiceCase{31, 0}}) {
    EXPECT_EQ(thread.SetPriority(c.priority), 0) << c.priority;
    EXPECT_EQ(thread.Nice(), c.nice) << c.priority;
  }
}

TEST(ThreadPriority, IsTheThreadsOwn) {
  const int before = getpriority(PRIO_PROCESS, 0);
  const IdleThread other;
  IdleThread thread;
  EXPECT_EQ(thread.SetPriority(12), 0);
  EXPECT_EQ(thread.Nice(), 19);
  EXPECT_EQ(other.Nice(), before);
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), before);
}

TEST(ThreadPriority, WhatIsNoThreadOrEndedIsNotFound) {
  const int before = getpriority(PRIO_PROCESS, 0);
  unsigned int ended = 0;
  pthread_t handle;
  {
    const IdleThread thread;
    ended = thread.Id();
    handle = pthread_self();
  }
  // A joined thread's entry in the kernel goes away a moment later.
  while (sched_getscheduler(static_cast<pid_t>(ended)) >= 0) sched_yield();
  for (const unsigned int id : {ended, 0U, 0xFFFFFFFFU, 0x80000000U}) {
    EXPECT_EQ(SetThreadPriority(handle, id, 30), ESRCH) << id;
    EXPECT_EQ(SetThreadRealTime(handle, id), ESRCH) << id;
  }
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), before);
  EXPECT_EQ(sched_getscheduler(0), SCHED_OTHER);
}

TEST(ThreadRealTime, IsRoundRobinAtItsLowestAndStartsOrdinaryThreads) {
  if (!MayBeRealTime()) GTEST_SKIP() << kNoRight;
  int result = -1;
  int policy_of_its_child = -1;
  // What the thread starts is seen from inside.
  const IdleThread thread([&] {
    result = SetThreadRealTime(pthread_self(), platform::CurrentThreadId());
    std::thread([&] { policy_of_its_child = sched_getscheduler(0); }).join();
  });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(thread.Policy(), SCHED_RR);
  sched_param parameter{};
  EXPECT_EQ(sched_getparam(thread.Pid(), &parameter), 0);
  EXPECT_EQ(parameter.sched_priority, sched_get_priority_min(SCHED_RR));
  EXPECT_EQ(policy_of_its_child, SCHED_OTHER);
}

TEST(ThreadRealTime, GoesBackToAnOrdinaryPriority) {
  if (!MayBeRealTime()) GTEST_SKIP() << kNoRight;
  IdleThread thread;
  for (const NiceCase& c : {NiceCase{31, 0}, NiceCase{30, 1}, NiceCase{40, -9}}) {
    EXPECT_EQ(thread.SetRealTime(), 0);
    EXPECT_EQ(thread.Policy(), SCHED_RR);
    EXPECT_EQ(thread.SetPriority(c.priority), 0) << c.priority;
    EXPECT_EQ(thread.Policy(), SCHED_OTHER) << c.priority;
    EXPECT_EQ(thread.Nice(), c.nice) << c.priority;
  }
}

TEST(ThreadPriority, AThreadThatInheritedAnotherPolicyBecomesOrdinary) {
  if (!MayBeRealTime()) GTEST_SKIP() << kNoRight;
  for (const int policy : {SCHED_FIFO, SCHED_RR, SCHED_BATCH, SCHED_IDLE}) {
    int inherited = -1;
    IdleThread creator([&] {
      const sched_param parameter{sched_get_priority_min(policy)};
      sched_setscheduler(0, policy, &parameter);
      IdleThread thread;
      inherited = thread.Policy();
      EXPECT_EQ(thread.SetPriority(29), 0) << policy;
      EXPECT_EQ(thread.Policy(), SCHED_OTHER) << policy;
      EXPECT_TRUE(thread.IsInherited()) << policy;
      EXPECT_EQ(thread.Nice(), 2) << policy;
    });
    EXPECT_EQ(inherited, policy);
    EXPECT_EQ(creator.Policy(), policy);
  }
}

TEST(ThreadId, AForkedProcessBeginsWithTheThreadThatForked) {
  int status = -1;
  std::thread([&] {
    EXPECT_FALSE(platform::IsMainThread());
    const pid_t child = fork();
    if (child == 0) _exit(platform::IsMainThread() ? 0 : 1);
    waitpid(child, &status, 0);
  }).join();
  EXPECT_EQ(status, 0);
}

}  // namespace
