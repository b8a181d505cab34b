// Threads that cannot be made, objects without pipes, commands that cannot be run. The definitions here take the place
// of the C library's for everything that is linked into this program.

#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>

#include <gtest/gtest.h>

#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LDetachedThread.h>
#include <tillvane/core/LProcessRun.h>
#include <tillvane/core/LThread.h>

namespace {

std::atomic<bool> no_threads{false}, no_pipes{false}, no_shell{false};
std::atomic<int> pclose_error{0};

template <class Function>
Function* Next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

template <class T>
T Fail(int error, T answer) {
  errno = error;
  return answer;
}

}  // namespace

extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*entry)(void*), void* data) noexcept {
  return no_threads ? EAGAIN : Next(&pthread_create, "pthread_create")(thread, attributes, entry, data);
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
