#include <tillvane/diag/LDebugSignals.h>

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include <tillvane/diag/crash_report.h>
#include <tillvane/diag/signal_safe_text.h>
#include <tillvane/platform/run_loop.h>

constinit unsigned char bLLibExceptionAlreadyTrapped = 0;

namespace {

constexpr int kFatalStatus = 666;

std::atomic<bool> is_exiting{false};

static_assert(std::atomic_ref<unsigned char>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

/// What a handler interrupted finds its errno again.
class KeptErrno {
 public:
  KeptErrno() : error_(errno) {}
  ~KeptErrno() { errno = error_; }
  KeptErrno(const KeptErrno&) = delete;
  KeptErrno& operator=(const KeptErrno&) = delete;

 private:
  int error_;
};

bool EndsTheProcess(int signal) {
  return signal == SIGABRT || signal == SIGBUS || signal == SIGFPE || signal == SIGKILL || signal == SIGSEGV;
}

}  // namespace

void LDebugSignalHandler(int signal, siginfo_t* info, void*) {
  const KeptErrno kept;
  const bool is_first = std::atomic_ref<unsigned char>(bLLibExceptionAlreadyTrapped).exchange(1) == 0;
  if (is_first) {
    diag::SignalSafeText<260> description;
    description.Add("SIGNAL").AddDecimal(signal);
    diag::ReportCrash(description.Get(), info);
  }
  // A fault of the report's own ends the process as the fault that it reports would have.
  if (is_first ? EndsTheProcess(signal) : diag::IsReportingCrash()) _exit(kFatalStatus);
}

void LIntTermSignalHandler(int signal, siginfo_t*, void*) {
  if (signal != SIGINT && signal != SIGTERM) return;
  const KeptErrno kept;
  // One that this has begun is not begun again, on this or on another thread.
  if (!platform::StopRunLoop() && !is_exiting.exchange(true)) std::exit(0);
}
