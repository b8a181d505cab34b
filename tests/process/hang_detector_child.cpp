// A run that leaves a marker: `hang_detector_child END [ARGUMENT]`. It says what it found, and ends as it is told.
//
// return, exit, _exit, destroy   after a word on standard input: see the functions below
// raise NUMBER                   a signal, and then the end by SIGKILL where that does nothing
// fault NAME                     a real fault
// again                          tests once more before it ends

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include <tests/process/crash_faults.h>
#include <tillvane/diag/LHangDetector.h>

namespace {

void Test() {
  LDebugHangDetectorInit();
  std::printf("found %d, began %u\n", gLHangDetector.FoundUncleanEnd(), gLHangDetector.StaleStartTime());
  std::fflush(stdout);
}

void WaitForSignal() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGUSR1);
  int number;
  sigwait(&signals, &number);
}

}  // namespace

int main(int argc, char** argv) {
  support::LeaveNoCore();
  const std::string end = argc > 1 ? argv[1] : "";
  const char* const argument = argc > 2 ? argv[2] : "";
  // Before the parent hears of this run.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGUSR1);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  Test();
  if (end == "again") Test();
  if (end == "wait") WaitForSignal();
  if (end == "destroy") {
    LDebugHangDetectorDestroy();
    _exit(0);
  }
  if (end == "exit") std::exit(0);
  if (end == "_exit") _exit(0);
  if (end == "raise") {
    raise(std::atoi(argument));
    raise(SIGKILL);
  }
  if (end == "fault") support::Happen(argument);
  return 0;
}
