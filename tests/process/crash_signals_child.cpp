// A host that meets signals: `crash_signals_child MODE [ARGUMENT]`. It says "ready" where its parent may go on, and
// what it sees; how it ends is what the tests are about.

#include <glib.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <tests/process/crash_faults.h>
#include <tests/support/threads.h>
#include <tests/support/waiting.h>
#include <tillvane/core/LEventQueue.h>
#include <tillvane/core/LProcessEventsHandler.h>
#include <tillvane/diag/LDebugSignals.h>

namespace {

using support::kLongMs;
using support::Say;

/// The last that is not a real-time one.
constexpr int kLastSignal = SIGSYS;

int Number(const char* argument) { return std::atoi(argument); }

// --- Fatal signals ---

void Call(const char* argument) {
  errno = ENOENT;
  LDebugSignalHandler(Number(argument), nullptr, nullptr);
  std::printf("returned, trapped %d, errno %s\n", bLLibExceptionAlreadyTrapped, errno == ENOENT ? "kept" : "changed");
}

void Raise(const char* argument) {
  raise(Number(argument));
  std::printf("went on, trapped %d\n", bLLibExceptionAlreadyTrapped);
}

void RaiseAfterQuit(const char* argument) {
  raise(SIGQUIT);
  Raise(argument);
}

void Fault(const char* argument) {
  Say("ready");
  support::Happen(argument);
  Say("went on");
}

void FaultAfterQuit(const char* argument) {
  raise(SIGQUIT);
  Fault(argument);
}

void RunOnThread(void (*function)(const char*), const char* argument) {
  support::FunctionThread thread([=](LThread&) { function(argument); });
  thread.Start(support::kOrdinaryPriority);
  thread.JoinThread();
}

void RaiseOnThread(const char* argument) { RunOnThread(&Raise, argument); }

void FaultOnThread(const char* argument) { RunOnThread(&Fault, argument); }

// --- Interruption and termination ---

void SayWhenLeft() { Say("left"); }

/// From inside the loop: before, there may be none that a signal could stop.
void SayReadyInLoop() {
  g_idle_add(
      [](gpointer) -> gboolean {
        Say("ready");
        return G_SOURCE_REMOVE;
      },
      nullptr);
}

void Wait(const char*) {
  const LSignalObject never;
  SayReadyInLoop();
  const int answer = LProcessEventsHandlerNeverStop().ProcessWaitSignalAndProcessEvents(never, kLongMs);
  std::printf("waited %d\n", answer);
}

/// The signal comes to a thread that has no run loop of its own.
void WaitAndRaiseOnThread(const char* argument) {
  support::FunctionThread thread([=](LThread&) {
    support::SleepMs(50);
    raise(Number(argument));
  });
  thread.Start(support::kOrdinaryPriority);
  Wait(argument);
}

void RunGlibLoop(const char*) {
  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  const auto stop = [](void* data) { g_main_loop_quit(static_cast<GMainLoop*>(data)); };
  SayReadyInLoop();
  LRunLoopEnter(stop, loop);
  g_main_loop_run(loop);
  LRunLoopLeave();
  g_main_loop_unref(loop);
  Say("loop ended");
}

void RestWithoutLoop(const char*) {
  Say("ready");
  for (;;) pause();
}

void CallIntTerm(const char* argument) {
  errno = ENOENT;
  LIntTermSignalHandler(Number(argument), nullptr, nullptr);
  std::printf("returned, errno %s\n", errno == ENOENT ? "kept" : "changed");
}

/// What comes while the process leaves does not make it leave once more.
void InterruptExit(const char* argument) {
  static int number;
  number = Number(argument);
  std::atexit([] {
    LIntTermSignalHandler(number, nullptr, nullptr);
    Say("leaving");
  });
  LIntTermSignalHandler(number, nullptr, nullptr);
  Say("went on");
}

void WaitAtExit(const char*) {
  std::atexit([] { Wait(""); });
  LIntTermSignalHandler(SIGTERM, nullptr, nullptr);
}

// --- Pipes ---

void WriteToClosedPipe(const char*) {
  int ends[2];
  if (pipe(ends) != 0) return;
  close(ends[0]);
  const bool is_refused = write(ends[1], "x", 1) < 0 && errno == EPIPE;
  Say(is_refused ? "refused" : "not refused");
}

// --- What is installed ---

const char* NameOf(const struct sigaction& action) {
  if ((action.sa_flags & SA_SIGINFO) == 0) return action.sa_handler == SIG_IGN ? "ignored" : "other";
  if (action.sa_sigaction == &LDebugSignalHandler) return "LDebugSignalHandler";
  return action.sa_sigaction == &LIntTermSignalHandler ? "LIntTermSignalHandler" : "other";
}

bool MasksAll(const sigset_t& mask) {
  for (int number = 1; number <= kLastSignal; ++number) {
    if (number != SIGKILL && number != SIGSTOP && sigismember(&mask, number) != 1) return false;
  }
  return true;
}

void ShowHandlers(const char*) {
  for (int number = 1; number <= kLastSignal; ++number) {
    struct sigaction action;
    if (sigaction(number, nullptr, &action) != 0 || (action.sa_handler == SIG_DFL)) continue;
    const auto flags = static_cast<unsigned int>(action.sa_flags) &
                       (SA_SIGINFO | SA_RESTART | SA_ONSTACK | SA_NODEFER | static_cast<unsigned int>(SA_RESETHAND));
    std::printf("SIG%s %s%s%s%s%s\n", sigabbrev_np(number), NameOf(action),
                (flags & SA_SIGINFO) != 0 ? " SA_SIGINFO" : "", (flags & SA_RESTART) != 0 ? " SA_RESTART" : "",
                (flags & ~static_cast<unsigned int>(SA_SIGINFO | SA_RESTART)) != 0 ? " more" : "",
                MasksAll(action.sa_mask) ? " all masked" : "");
  }
}

struct Mode {
  const char* name;
  void (*run)(const char* argument);
};

constexpr Mode kModes[] = {
    {"call", &Call},
    {"raise", &Raise},
    {"raise-after-quit", &RaiseAfterQuit},
    {"raise-on-thread", &RaiseOnThread},
    {"fault", &Fault},
    {"fault-after-quit", &FaultAfterQuit},
    {"fault-on-thread", &FaultOnThread},
    {"wait", &Wait},
    {"wait-thread", &WaitAndRaiseOnThread},
    {"glib", &RunGlibLoop},
    {"rest", &RestWithoutLoop},
    {"call-int-term", &CallIntTerm},
    {"interrupt-exit", &InterruptExit},
    {"wait-at-exit", &WaitAtExit},
    {"pipe", &WriteToClosedPipe},
    {"handlers", &ShowHandlers},
};

}  // namespace

int main(int argc, char** argv) {
  support::LeaveNoCore();
  std::atexit(&SayWhenLeft);
  for (const Mode& mode : kModes) {
    if (argc < 2 || std::strcmp(argv[1], mode.name) != 0) continue;
    mode.run(argc > 2 ? argv[2] : "");
    return 3;
  }
  return 99;
}
