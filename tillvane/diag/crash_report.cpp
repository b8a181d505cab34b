#include <tillvane/diag/crash_report.h>

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <ctime>
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
/// For a reader that does not come.
constexpr long long kMostMs = 3000;
/// For a stack that the unwinder goes around in, and a write that blocks although there was room.
constexpr unsigned int kMostSeconds = 5;

using Line = SignalSafeText<512>;

// What a signal handler reads and writes.
constinit std::atomic<int> descriptor{-1};
constinit std::atomic<unsigned int> reporting_thread{0};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<unsigned int>::is_always_lock_free);

/// On whichever thread the alarm comes.
void OnReportIsLate(int) { _exit(666); }

long long NowMs() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

/// Bounds how long a report takes, and lets a fault in it come to the handler: while a signal is blocked, its fault
/// would end the process at once.
class ReportLimits {
 public:
  ReportLimits() : begin_(NowMs()) {
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
    alarm(0);
    // Forgets one that is under way.
    struct sigaction ignored = {};
    ignored.sa_handler = SIG_IGN;
    sigaction(SIGALRM, &ignored, nullptr);
    sigaction(SIGALRM, &action_, nullptr);
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    if (seconds_ != 0) alarm(SecondsLeft());
    pthread_setcancelstate(cancel_state_, nullptr);
  }
  ReportLimits(const ReportLimits&) = delete;
  ReportLimits& operator=(const ReportLimits&) = delete;

 private:
  /// Until the host's own alarm.
  unsigned int SecondsLeft() const {
    const auto gone = static_cast<unsigned int>((NowMs() - begin_) / 1000);
    return seconds_ > gone ? seconds_ - gone : 1;
  }

  const long long begin_;
  struct sigaction action_;
  sigset_t mask_;
  unsigned int seconds_;
  int cancel_state_;
};

/// Writes lines in order: after one that could not be written in time none follows.
class Report {
 public:
  explicit Report(int fd) : fd_(fd), end_(NowMs() + kMostMs) {}

  void Write(Line& line) {
    line.Add('\n');
    const char* rest = line.Get();
    std::size_t size = line.Length();
    while (size > 0 && WaitForRoom()) {
      const ssize_t written = write(fd_, rest, size);
      if (written < 0 && errno != EINTR && errno != EAGAIN) fd_ = -1;
      if (written <= 0) continue;
      rest += written;
      size -= static_cast<std::size_t>(written);
    }
  }

 private:
  bool WaitForRoom() {
    while (fd_ >= 0) {
      pollfd polled{fd_, POLLOUT, 0};
      const long long left = end_ - NowMs();
      const int ready = left > 0 ? poll(&polled, 1, static_cast<int>(left)) : 0;
      if (ready > 0) return true;
      if (ready == 0 || errno != EINTR) fd_ = -1;
    }
    return false;
  }

  int fd_;
  const long long end_;
};

void WriteCause(Report& report, const siginfo_t& info) {
  Line line;
  line.Add("code ").AddDecimal(info.si_code);
  // What a process sends has no address, and what faults no sender.
  if (info.si_code <= 0 || info.si_code == SI_USER) {
    line.Add(" sender ").AddDecimal(info.si_pid);
  } else {
    line.Add(" address ").AddAddress(reinterpret_cast<std::uintptr_t>(info.si_addr));
  }
  report.Write(line);
}

void WriteThread(Report& report, unsigned int id) {
  Line line;
  line.Add("thread ").AddDecimal(id);
  const unsigned int index = FindRecord(id);
  // Perhaps it was just being renamed: its end counts, not its terminator.
  if (index != kNoRecord) line.Add(' ').Add(gDebugThreadData[index].name, sizeof LDebugThreadData::name);
  report.Write(line);
}

void WriteFrame(Report& report, std::uintptr_t address) {
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
  report.Write(line);
}

void WriteFrames(Report& report) {
  void* frames[kMostFrames];
  const unsigned int count = platform::CaptureBacktrace(frames, kMostFrames);
  for (unsigned int i = 0; i < count; ++i) WriteFrame(report, reinterpret_cast<std::uintptr_t>(frames[i]));
}

void WriteReport(int fd, const char* description, const siginfo_t* info, unsigned int thread) {
  Report report(fd);
  Line first;
  // What is written first needs nothing that the crash may have damaged.
  report.Write(first.Add(description));
  if (info != nullptr) WriteCause(report, *info);
  WriteThread(report, thread);
  WriteFrames(report);
  Line last;
  report.Write(last.Add("end"));
}

}  // namespace

void ReportCrash(const char* description, const siginfo_t* info) {
  const int fd = descriptor;
  if (fd < 0) return;
  const unsigned int thread = platform::CurrentThreadId();
  reporting_thread = thread;
  {
    const ReportLimits limits;
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
