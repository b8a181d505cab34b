#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <mutex>
#include <string>

#include <gtest/gtest.h>

#include <tests/support/waiting.h>
#include <tillvane/platform/linux/signals_blocked_linux.h>

namespace {

std::mutex held;
int handled, handled_while_held;

void Handle(int) {
  ++handled;
  // As the library's end would: it must not be this thread's own.
  if (held.try_lock()) {
    held.unlock();
  } else {
    ++handled_while_held;
  }
}

std::string BlockedSignals() {
  sigset_t blocked;
  pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
  std::string numbers;
  for (int number = 1; number < NSIG; ++number) numbers += sigismember(&blocked, number) == 1 ? '1' : '0';
  return numbers;
}

TEST(SignalsBlocked, AHandlerRunsOnceTheLockIsGivenBack) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1}) {
    SCOPED_TRACE(signal);
    const support::HandlerScope handler(signal, Handle);
    handled = handled_while_held = 0;
    const std::string before = BlockedSignals();
    {
      const platform::UninterruptedLock lock(held);
      raise(signal);
      EXPECT_EQ(handled, 0);
    }
    EXPECT_EQ(handled, 1);
    EXPECT_EQ(handled_while_held, 0);
    EXPECT_EQ(BlockedSignals(), before);
  }
}

TEST(SignalsBlocked, AFaultIsNotBlocked) {
  const platform::SignalsBlocked blocked;
  sigset_t signals;
  pthread_sigmask(SIG_BLOCK, nullptr, &signals);
  for (const int fault : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGABRT, SIGSYS}) {
    EXPECT_EQ(sigismember(&signals, fault), 0) << fault;
  }
}

TEST(SignalsBlocked, AForkLeavesThemAsTheyWere) {
  const std::string before = BlockedSignals();
  const pid_t child = fork();
  if (child == 0) _exit(BlockedSignals() == before ? 0 : 1);
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(BlockedSignals(), before);
}

}  // namespace
