// A host that has its crashes reported, or not: `crash_report_child none|on|off|full|slow|closed FILE MODE ARGUMENT`.
// The report goes to the file; standard output has what the tests compare it with.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include <tests/process/crash_faults.h>
#include <tests/support/next_definition.h>
#include <tests/support/threads.h>
#include <tillvane/diag/LDebugSignals.h>
#include <tillvane/diag/LDebugThread.h>
#include <tillvane/platform/thread_id.h>

// --- An allocator whose lock a thread may hold when it faults, and a walk of the stack that may not end ---

namespace {

constinit std::atomic_flag allocating;
constinit std::atomic<bool> faults_in_allocator{false};
constinit std::atomic<bool> backtrace_hangs{false};

}  // namespace

extern "C" {

void* SystemMalloc(std::size_t size) asm("__libc_malloc");

[[gnu::visibility("default")]] void* malloc(std::size_t size) {
  while (allocating.test_and_set()) std::this_thread::yield();
  if (faults_in_allocator) support::WriteToNowhere();
  void* const memory = SystemMalloc(size);
  allocating.clear();
  return memory;
}

/// The C library's, or one that does not come back.
[[gnu::visibility("default")]] int backtrace(void** addresses, int most) {
  // Looked up when the host asks for reports, before there is a crash.
  static const auto next = support::Next(&backtrace, "backtrace");
  while (backtrace_hangs) {
  }
  return next(addresses, most);
}

}  // extern "C"

namespace {

using support::Say;

/// How much memory there is in all, touched or not.
long MappedPages() {
  long pages = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr || std::fscanf(file, "%ld", &pages) != 1) pages = 0;
  if (file != nullptr) std::fclose(file);
  return pages;
}

void Crash(const char* name) {
  std::printf("thread %u\n", platform::CurrentThreadId());
  std::fflush(stdout);
  support::Happen(name);
  Say("went on");
}

void CrashOnThread(const char* name) {
  support::FunctionThread thread([=](LThread&) {
    LDebugThreadSetName("Worker");
    Crash(name);
  });
  thread.Start(support::kOrdinaryPriority);
  thread.JoinThread();
}

/// A thread that the toolkit knows nothing of.
void CrashOnForeignThread(const char* name) {
  std::thread([=] { Crash(name); }).join();
}

int report = -1;

/// Called once more, the thread has room to report an overflow too.
void CrashOnForeignThreadThatAsked(const char* name) {
  std::thread([=] {
    if (LDebugReportCrashesTo(report)) Crash(name);
  }).join();
}

void CrashTogether(const char* name) {
  std::atomic<int> ready{0};
  const auto crash = [&](LThread&) {
    for (++ready; ready < 2;) std::this_thread::yield();
    support::Happen(name);
  };
  support::FunctionThread one(crash), other(crash);
  one.Start(support::kOrdinaryPriority);
  other.Start(support::kOrdinaryPriority);
  one.JoinThread();
}

void CrashInAllocator(const char*) {
  faults_in_allocator = true;
  Say(std::string(support::Unknown(100UL), 'x').c_str());
}

void CrashAndHang(const char* name) {
  backtrace_hangs = true;
  Crash(name);
}

void Raise(const char* number) {
  raise(std::atoi(number));
  std::printf("went on, trapped %d\n", bLLibExceptionAlreadyTrapped);
}

void RaiseAfterQuit(const char* number) {
  raise(SIGQUIT);
  Raise(number);
}

/// Where the unwinder looks for the callers there is nothing.
void CrashWithoutStack(const char*) {
#if defined(__x86_64__)
  asm volatile("mov $4096, %rsp\n mov $4096, %rbp\n movl $0, 16(%rbp)");
#elif defined(__aarch64__)
  asm volatile("mov x1, #4096\n mov sp, x1\n mov x29, x1\n str xzr, [x1]");
#endif
}

/// Threads of the toolkit, and this one, have an alternate stack where reports are wanted, and only as long as they
/// live.
void ShowStacks(const char*) {
  const auto has_stack = [] {
    stack_t stack;
    return sigaltstack(nullptr, &stack) == 0 && (stack.ss_flags & SS_DISABLE) == 0;
  };
  bool is_in_thread = false;
  const auto look = [&](LThread&) { is_in_thread = has_stack(); };
  support::FunctionThread thread(look);
  thread.Start(support::kOrdinaryPriority);
  thread.JoinThread();
  struct sigaction action;
  sigaction(SIGSEGV, nullptr, &action);
  std::printf("here %d, in a thread %d, used %d\n", has_stack(), is_in_thread, (action.sa_flags & SA_ONSTACK) != 0);
  const long before = MappedPages();
  for (int i = 0; i < 200; ++i) {
    thread.Start(support::kOrdinaryPriority);
    thread.JoinThread();
  }
  // Their stacks would be thousands of pages.
  Say(MappedPages() - before < 3000 ? "given back" : "kept");
}

/// A stack that a thread has already is its own.
void KeepOwnStack(const char*) {
  static char memory[65536];
  stack_t own = {}, found;
  own.ss_sp = memory;
  own.ss_size = sizeof memory;
  const bool is_kept = LDebugReportCrashesTo(-1) && sigaltstack(&own, nullptr) == 0 && LDebugReportCrashesTo(report) &&
                       sigaltstack(nullptr, &found) == 0 && found.ss_sp == memory && LDebugReportCrashesTo(-1) &&
                       sigaltstack(nullptr, &found) == 0 && found.ss_sp == memory;
  Say(is_kept ? "kept" : "taken");
}

void CrashAndHangInThread(const char* name) {
  backtrace_hangs = true;
  CrashOnThread(name);
}

void RaiseInThread(const char* number) {
  support::FunctionThread thread([=](LThread&) { Raise(number); });
  thread.Start(support::kOrdinaryPriority);
  thread.JoinThread();
}

void ShowAlarm(const char*) {
  signal(SIGALRM, [](int) { _exit(97); });
  alarm(100);
  raise(SIGQUIT);
  struct sigaction action;
  sigaction(SIGALRM, nullptr, &action);
  const unsigned int left = alarm(0);
  std::printf("SIGALRM is %s, and comes %s\n", action.sa_handler != SIG_DFL ? "the host's" : "the system's",
              left >= 1 && left <= 100 ? "within 100 seconds" : "never");
}

struct Mode {
  const char* name;
  void (*run)(const char* argument);
};

constexpr Mode kModes[] = {
    {"main", &Crash},
    {"thread", &CrashOnThread},
    {"foreign", &CrashOnForeignThread},
    {"foreign-asked", &CrashOnForeignThreadThatAsked},
    {"together", &CrashTogether},
    {"stacks", &ShowStacks},
    {"own-stack", &KeepOwnStack},
    {"allocator", &CrashInAllocator},
    {"hang", &CrashAndHang},
    {"hang-in-thread", &CrashAndHangInThread},
    {"raise", &Raise},
    {"raise-in-thread", &RaiseInThread},
    {"alarm", &ShowAlarm},
    {"raise-after-quit", &RaiseAfterQuit},
    {"stackless", &CrashWithoutStack},
};

/// Another process, which copies what comes through a pipe slowly to the file. \return the pipe's other end, which does
/// not block
int SlowReader(int file) {
  int ends[2];
  if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0 || fcntl(ends[1], F_SETPIPE_SZ, 4096) < 0) return -1;
  if (fork() != 0) {
    close(ends[0]);
    return ends[1];
  }
  close(ends[1]);
  fcntl(ends[0], F_SETFL, 0);
  char part[1000];
  for (ssize_t count; (count = read(ends[0], part, sizeof part)) > 0;) {
    if (write(file, part, static_cast<std::size_t>(count)) != count) _exit(1);
    usleep(2000);
  }
  _exit(0);
}

/// What may be said before the fault, with the descriptor of the report.
bool Prepare(const char* how, int fd) {
  if (std::strcmp(how, "none") == 0) return true;
  if (std::strcmp(how, "closed") == 0) return !LDebugReportCrashesTo(fd + 100);
  if (std::strcmp(how, "slow") == 0) return LDebugReportCrashesTo(SlowReader(fd));
  if (!LDebugReportCrashesTo(fd)) return false;
  if (std::strcmp(how, "off") == 0) return LDebugReportCrashesTo(-1);
  // A pipe that is full and that nobody reads.
  if (std::strcmp(how, "full") != 0) return true;
  int ends[2];
  if (pipe2(ends, O_NONBLOCK) != 0) return false;
  while (write(ends[1], "full", 1) == 1) {
  }
  fcntl(ends[1], F_SETFL, 0);
  return LDebugReportCrashesTo(ends[1]);
}

}  // namespace

int main(int argc, char** argv) {
  support::LeaveNoCore();
  if (argc < 5) return 99;
  report = open(argv[2], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (report < 0 || !Prepare(argv[1], report)) return 98;
  for (const Mode& mode : kModes) {
    if (std::strcmp(argv[3], mode.name) != 0) continue;
    mode.run(argv[4]);
    return 3;
  }
  return 99;
}
