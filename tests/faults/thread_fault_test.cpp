// Threads that cannot be made, objects without pipes, commands that cannot be run. The definitions here take the place
// of the C library's for everything that is linked into this program.

#include <pthread.h>
#include <stdio.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include <tests/support/faults.h>
#include <tests/support/next_definition.h>
#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LDetachedThread.h>
#include <tillvane/core/LProcessRun.h>
#include <tillvane/core/LThread.h>

namespace {

std::atomic<bool> no_threads{false}, no_pipes{false}, no_shell{false}, no_priorities{false};
// What happens inside of a call, while it is set.
std::function<void()> in_pthread_create, in_write, in_cond_wait, in_setpriority;
// How long a new thread takes before it begins.
std::atomic<int> slow_start_ms{0};
std::atomic<int> pclose_error{0};

using support::Next;

template <class T>
T Fail(int error, T answer, const char* call = __builtin_FUNCTION()) {
  support::FailNoted(error, call);
  return answer;
}

}  // namespace

extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* data) noexcept {
  if (in_pthread_create) in_pthread_create();
  if (no_threads) return Fail(EAGAIN, EAGAIN);
  const auto next = Next(&pthread_create, "pthread_create");
  if (slow_start_ms == 0) return next(thread, attributes, entry, data);
  struct Delayed {
    void* (*entry)(void*);
    void* data;
  };
  const auto begin = [](void* delayed) -> void* {
    const Delayed copy = *static_cast<Delayed*>(delayed);
    delete static_cast<Delayed*>(delayed);
    support::SleepMs(slow_start_ms);
    return copy.entry(copy.data);
  };
  return next(thread, attributes, begin, new Delayed{entry, data});
}

ssize_t write(int descriptor, const void* bytes, size_t size) {
  if (const auto function = std::exchange(in_write, {})) function();
  return Next(&write, "write")(descriptor, bytes, size);
}

int setpriority(__priority_which_t which, id_t who, int nice) noexcept {
  if (const auto function = std::exchange(in_setpriority, {})) function();
  return no_priorities ? Fail(EACCES, -1) : Next(&setpriority, "setpriority")(which, who, nice);
}

int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  const auto function = std::exchange(in_cond_wait, {});
  if (!function) return Next(&pthread_cond_wait, "pthread_cond_wait")(condition, mutex);
  pthread_mutex_unlock(mutex);
  function();
  pthread_mutex_lock(mutex);
  return 0;
}

int pipe2(int ends[2], int flags) noexcept { return no_pipes ? Fail(EMFILE, -1) : Next(&pipe2, "pipe2")(ends, flags); }

FILE* popen(const char* command, const char* mode) {
  return no_shell ? Fail<FILE*>(EMFILE, nullptr) : Next(&popen, "popen")(command, mode);
}

int pclose(FILE* file) {
  const int status = Next(&pclose, "pclose")(file);
  return pclose_error != 0 ? Fail(pclose_error.load(), -1) : status;
}

}  // extern "C"

namespace {

using support::DetachedFunction;
using support::FunctionThread;
using support::kLongMs;
using support::kOrdinaryPriority;
using support::SleepUntilStopped;

/// Sets a switch for as long as it lives.
class Without {
 public:
  explicit Without(std::atomic<bool>& what) : what_(what) { what_ = true; }
  ~Without() { what_ = false; }
  Without(const Without&) = delete;
  Without& operator=(const Without&) = delete;

 private:
  std::atomic<bool>& what_;
};

TEST(ThreadFaults, AStartWithoutAThreadAnswersAsAlways) {
  FunctionThread thread(SleepUntilStopped);
  {
    const Without threads(no_threads);
    EXPECT_EQ(thread.Start(kOrdinaryPriority), 0);
    EXPECT_FALSE(thread.IsRunning());
    EXPECT_EQ(thread.SetPriority(kOrdinaryPriority), ESRCH);
    thread.StopThreadAndWait();
  }
  EXPECT_EQ(thread.runs, 0);
  // The next one works.
  thread.Start(kOrdinaryPriority);
  EXPECT_TRUE(thread.IsRunning());
}

TEST(ThreadFaults, NobodyWaitsForAThreadThatCouldNotBeMade) {
  FunctionThread thread(SleepUntilStopped);
  const Without threads(no_threads);
  std::vector<std::thread> others;
  in_pthread_create = [&] {
    EXPECT_TRUE(thread.IsRunning());
    others.emplace_back([&] { EXPECT_EQ(thread.SetPriority(kOrdinaryPriority), ESRCH); });
    others.emplace_back([&] { thread.StopThreadAndWait(); });
    others.emplace_back([&] { thread.JoinThread(); });
    support::SleepMs(20);
  };
  // Once: the others are threads too.
  in_pthread_create = [function = std::exchange(in_pthread_create, {})] {
    const auto once = function;
    in_pthread_create = {};
    no_threads = false;
    once();
    no_threads = true;
  };
  EXPECT_EQ(thread.Start(kOrdinaryPriority), 0);
  for (std::thread& other : others) other.join();
  EXPECT_FALSE(thread.EndedSignal().IsSignaled());
}

TEST(ThreadFaults, WhoWaitsBesideAJoinWaitsForThatThreadOnly) {
  FunctionThread thread(SleepUntilStopped);
  thread.Start(kOrdinaryPriority);
  std::thread joiner([&] { thread.JoinThread(); });
  support::SleepMs(20);
  // What it waited for has ended by the time it wakes up, and another one runs.
  in_cond_wait = [&] {
    thread.StopThreadSoon();
    joiner.join();
    thread.Start(kOrdinaryPriority);
  };
  thread.JoinThread();
  if (joiner.joinable()) joiner.join();
  EXPECT_TRUE(thread.IsRunning());
  EXPECT_TRUE(support::WaitUntil([&] { return thread.runs == 2; }));
}

TEST(ThreadFaults, ARequestForAThreadThatEndsReachesNoLaterOne) {
  std::atomic<bool> may_return{false};
  FunctionThread thread([&](LThread&) {
    while (!may_return) support::SleepMs(1);
  });
  std::thread starter;
  thread.Start(kOrdinaryPriority);
  // While the request is under way its thread ends by itself, and somebody starts the object again.
  in_write = [&] {
    may_return = true;
    EXPECT_TRUE(thread.EndedSignal().WaitSignal(kLongMs));
    may_return = false;
    starter = std::thread([&] { thread.Start(kOrdinaryPriority); });
    support::SleepMs(30);
    EXPECT_EQ(thread.runs, 1);
  };
  thread.StopThreadAndWait();
  starter.join();
  EXPECT_TRUE(thread.IsRunning());
  EXPECT_FALSE(thread.IsToStop());
  may_return = true;
}

TEST(ThreadFaults, APriorityThatCannotBeGivenIsTheAnswer) {
  const Without priorities(no_priorities);
  FunctionThread thread(SleepUntilStopped);
  EXPECT_EQ(thread.Start(kOrdinaryPriority), 0);
  EXPECT_TRUE(thread.IsRunning());
  EXPECT_EQ(thread.SetPriority(kOrdinaryPriority), EACCES);
  std::atomic<int> alive{0};
  LDetachedThreadsOwner owner;
  auto* const detached = new DetachedFunction(alive, SleepUntilStopped);
  owner.Add(detached);
  EXPECT_EQ(detached->StartDetached(owner, kOrdinaryPriority), EACCES);
  EXPECT_EQ(alive, 1) << "it was started all the same";
}

// Its number would be free for another thread.
TEST(ThreadFaults, AThreadDoesNotEndWhileItGetsAPriority) {
  FunctionThread thread(SleepUntilStopped);
  thread.Start(kOrdinaryPriority);
  in_setpriority = [&] {
    thread.StopThreadSoon();
    support::SleepMs(50);
    EXPECT_TRUE(thread.IsRunning());
  };
  EXPECT_EQ(thread.SetPriority(kOrdinaryPriority), 0);
  thread.JoinThread();
}

TEST(ThreadFaults, ARestartWaitsForTheNewThreadToBegin) {
  class Noting : public FunctionThread {
   public:
    using FunctionThread::FunctionThread;
    int ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) override {
      was_signalled = signal.IsSignaled();
      return FunctionThread::ProcessWaitSignal(signal, ms);
    }
    bool was_signalled = true;
  };
  Noting thread([](LThread&) {});
  slow_start_ms = 50;
  for (int i = 0; i < 2; ++i) {
    thread.Start(kOrdinaryPriority);
    EXPECT_FALSE(thread.was_signalled) << "start " << i;
    thread.JoinThread();
  }
  slow_start_ms = 0;
}

TEST(ThreadFaults, ARequestThatMeetsAStartIsSeenByAllOrByNobody) {
  FunctionThread thread(SleepUntilStopped);
  // Between the mark and the signal: a start that forgets both.
  in_write = [&] { thread.Start(kOrdinaryPriority); };
  thread.StopThreadSoon();
  EXPECT_TRUE(thread.ProcessWait(0));
  EXPECT_TRUE(thread.IsToStop());
}

TEST(ThreadFaults, ADetachedThreadThatCannotBeMadeStaysItsOwners) {
  std::atomic<int> alive{0};
  LDetachedThreadsOwner owner;
  auto* const thread = new DetachedFunction(alive, SleepUntilStopped);
  owner.Add(thread);
  {
    const Without threads(no_threads);
    EXPECT_EQ(thread->StartDetached(owner, kOrdinaryPriority), EAGAIN);
  }
  EXPECT_EQ(alive, 1);
  EXPECT_EQ(thread->StartDetached(owner, kOrdinaryPriority), 0);
  owner.Destruct(thread);
  EXPECT_EQ(alive, 0);
}

TEST(ThreadFaults, WithoutPipesAThreadStartsAndStops) {
  const Without pipes(no_pipes);
  FunctionThread thread([](LThread& self) {
    while (!self.IsToStop()) support::SleepMs(1);
  });
  for (int i = 1; i <= 3; ++i) {
    EXPECT_EQ(thread.Start(kOrdinaryPriority - 1), 0);
    EXPECT_FALSE(thread.IsToStop());
    LSignalObject none;
    EXPECT_EQ(thread.ProcessWaitSignal(none, kLongMs), 2);
    EXPECT_FALSE(thread.ProcessWait(kLongMs));
    thread.StopThreadAndWait();
    EXPECT_EQ(thread.runs, i);
  }
}

TEST(ThreadFaults, WithoutPipesADetachedThreadIsStopped) {
  const Without pipes(no_pipes);
  std::atomic<int> alive{0};
  LDetachedThreadsOwner owner;
  for (int i = 0; i < 5; ++i) {
    auto* const thread = new DetachedFunction(alive, [](LThread& self) {
      while (!self.IsToStop()) support::SleepMs(1);
    });
    owner.Add(thread);
    EXPECT_EQ(thread->StartDetached(owner, kOrdinaryPriority), 0);
  }
  owner.StopThreadsNow();
  EXPECT_EQ(alive, 0);
}

class ProcessRunFaults : public testing::Test {
 protected:
  ~ProcessRunFaults() override { pclose_error = 0; }

  /// What stands in the data after the command "exit 3".
  void RunFor(int result, int exit_code) {
    auto* const data = new ProcessRunData;
    data->command = "exit 3";
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, nullptr, ProcessRunThreadCallback, data), 0);
    ASSERT_TRUE(data->done.WaitSignal(kLongMs));
    EXPECT_EQ(data->result, result);
    EXPECT_EQ(data->exitCode, exit_code);
    data->release.Signal();
    pthread_join(thread, nullptr);
  }
};

TEST_F(ProcessRunFaults, WithoutAShellTheResultIsTwo) {
  const Without shell(no_shell);
  RunFor(2, -1);
}

TEST_F(ProcessRunFaults, AnEndThatCannotBeWaitedForIsTwo) {
  pclose_error = EINTR;
  RunFor(2, -1);
}

TEST_F(ProcessRunFaults, AnEndThatSomebodyElseWaitedForIsNone) {
  pclose_error = ECHILD;
  RunFor(0, -1);
}

TEST_F(ProcessRunFaults, DataThatCannotBeReleasedStaysTheCallers) {
  std::unique_ptr<ProcessRunData> data;
  {
    const Without pipes(no_pipes);
    data = std::make_unique<ProcessRunData>();
  }
  data->command = "exit 3";
  EXPECT_EQ(ProcessRunThreadCallback(data.get()), nullptr);
  EXPECT_EQ(data->exitCode, 3);
}

}  // namespace
