#include <tillvane/diag/crash_report.h>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <mutex>

#include <tillvane/diag/LDebugSignals.h>
#include <tillvane/diag/crash_stack.h>
#include <tillvane/diag/loaded_modules.h>
#include <tillvane/diag/signal_handlers.h>
#include <tillvane/diag/signal_safe_text.h>
#include <tillvane/diag/thread_registry.h>
#include <tillvane/platform/crash_backtrace.h>
#include <tillvane/platform/thread_id.h>

namespace diag {

namespace {

constexpr unsigned int kMostFrames = 128;
/// For a pipe that nobody reads, or a stack that the unwinder goes around in.
constexpr unsigned int kMostSeconds = 3;

using Line = SignalSafeText<512>;

// What a signal handler reads and writes.
constinit std::atomic<int> descriptor{-1};
constinit std::atomic<unsigned int> reporting_thread{0};
constinit std::atomic<bool> is_late{false}, ends_when_late{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<unsigned int>::is_always_lock_free &&
              std::atomic<bool>::is_always_lock_free);

/// Interrupts a write that blocks, again and again: the one that begins just after a look at the mark would wait on.
void OnReportIsLate(int) {
  if (ends_when_late) _exit(666);
  is_late = true;
  alarm(1);
}

/// Bounds how long a report takes, and lets a fault in it come to the handler: while a signal is blocked, its fault
/// would end the process at once.
class ReportLimits {
 public:
  explicit ReportLimits(bool ends_the_process) {
    is_late = false;
    ends_when_late = ends_the_process;
    // A thread that was asked to end does not do so at the first write.
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state_);
    struct sigaction action = {};
    action.sa_handler = &OnReportIsLate;
    sigfillset(&action.sa_mask);
    sigaction(SIGALRM, &action, &action_);
    seconds_ = alarm(kMostSeconds);
    sigset_t let_through;
    sigemptyset(&let_through);
    for (const int signal : {SIGALRM, SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigaddset(&let_through, signal);
    pthread_sigmask(SIG_UNBLOCK, &let_through, &mask_);
  }
  ~ReportLimits() {
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    alarm(seconds_);
    sigaction(SIGALRM, &action_, nullptr);
    pthread_setcancelstate(cancel_state_, nullptr);
  }
  ReportLimits(const ReportLimits&) = delete;
  ReportLimits& operator=(const ReportLimits&) = delete;

 private:
  struct sigaction action_;
  sigset_t mask_;
  unsigned int seconds_;
  int cancel_state_;
};

/// As much as the descriptor takes in time.
void Write(int fd, Line& line) {
  line.Add('\n');
  const char* rest = line.Get();
  std::size_t size = line.Length();
  while (size > 0 && !is_late) {
    const ssize_t written = write(fd, rest, size);
    if (written < 0 && errno != EINTR) return;
    if (written <= 0) continue;
    rest += written;
    size -= static_cast<std::size_t>(written);
  }
}

void WriteCause(int fd, const siginfo_t& info) {
  Line line;
  line.Add("code ").AddDecimal(info.si_code);
  // What a process sends has no address, and what faults no sender.
  if (info.si_code <= 0 || info.si_code == SI_USER) {
    line.Add(" sender ").AddDecimal(info.si_pid);
  } else {
    line.Add(" address ").AddAddress(reinterpret_cast<std::uintptr_t>(info.si_addr));
  }
  Write(fd, line);
}

void WriteThread(int fd, unsigned int id) {
  Line line;
  line.Add("thread ").AddDecimal(id);
  const unsigned int index = FindRecord(id);
  // Perhaps it was just being renamed: its end counts, not its terminator.
  if (index != kNoRecord) line.Add(' ').Add(gDebugThreadData[index].name, sizeof LDebugThreadData::name);
  Write(fd, line);
}

void WriteFrame(int fd, std::uintptr_t address) {
  Line line;
  line.Add("frame ").AddAddress(address).Add(' ');
  const platform::LoadedModule* const module = FindLoadedModule(address);
  if (module == nullptr) {
    line.Add("- - -");
  } else {
    line.AddAddress(address - module->base).Add(' ');
    if (module->build_id_size == 0) line.Add('-');
    line.AddBytes(module->build_id, module->build_id_size).Add(' ').Add(module->path);
  }
  Write(fd, line);
}

void WriteFrames(int fd) {
  void* frames[kMostFrames];
  const unsigned int count = platform::CaptureBacktrace(frames, kMostFrames);
  for (unsigned int i = 0; i < count; ++i) WriteFrame(fd, reinterpret_cast<std::uintptr_t>(frames[i]));
}

void WriteReport(int fd, const char* description, const siginfo_t* info, unsigned int thread) {
  Line first;
  // What is written first needs nothing that the crash may have damaged.
  Write(fd, first.Add(description));
  if (info != nullptr) WriteCause(fd, *info);
  WriteThread(fd, thread);
  WriteFrames(fd);
  Line last;
  Write(fd, last.Add("end"));
}

}  // namespace

void ReportCrash(const char* description, const siginfo_t* info, bool ends_the_process) {
  const int fd = descriptor;
  if (fd < 0) return;
  const unsigned int thread = platform::CurrentThreadId();
  reporting_thread = thread;
  {
    const ReportLimits limits(ends_the_process);
    WriteReport(fd, description, info, thread);
  }
  reporting_thread = 0;
}

bool IsReportingCrash() { return reporting_thread != 0 && reporting_thread == platform::CurrentThreadId(); }

bool AreCrashesReported() { return descriptor >= 0; }

}  // namespace diag

bool LDebugReportCrashesTo(int fd) {
  static constinit std::mutex one_at_a_time;
  const std::scoped_lock lock(one_at_a_time);
  if (fd < 0) {
    diag::descriptor = -1;
    diag::UseAlternateStack(false);
    diag::TakeCrashStack();
    return true;
  }
  if (fcntl(fd, F_GETFD) < 0) return false;
  platform::PrepareBacktrace();
  diag::NoteLoadedModules();
  diag::GiveCrashStack();
  diag::UseAlternateStack(true);
  diag::descriptor = fd;
  return true;
}
