// A process without the right to real-time threads that wants some, or the service that it asks:
//   realtime_kit_caller serve WAY       \see fake_realtime_kit.h
//   realtime_kit_caller call [OPTION]...
//     limits SOFT HARD   its limits for real-time threads at first, microseconds, -1 for none
//     may-raise          it may raise a hard limit again; without this it may not
//     no-descriptors     there are none left
//     at-once            all its threads are asked for at the same time
//     halted             GLib's threads get no time to run during one request
//     forked             a child that it forks asks too
//     patient            it asks again while the time was too short, as on a busy machine
// It says what it saw as "NAME VALUE", a line each.

#include <fcntl.h>
#include <linux/capability.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <tests/process/fake_realtime_kit.h>
#include <tests/support/glib_sources.h>
#include <tests/support/next_definition.h>
#include <tests/support/open_descriptors.h>
#include <tests/support/waiting.h>
#include <tillvane/platform/thread_id.h>

namespace {

/// The kernel's own word on CAP_SYS_RESOURCE depends on where the test runs: a raise that it refuses is only told.
bool may_raise = false;
std::optional<rlimit> raised;

}  // namespace

extern "C" {

int setrlimit(__rlimit_resource_t resource, const rlimit* limit) noexcept {
  static const auto next = support::Next(&setrlimit, "setrlimit");
  const int result = next(resource, limit);
  if (resource != RLIMIT_RTTIME || !may_raise || (result != 0 && errno != EPERM)) return result;
  raised = result != 0 ? std::optional(*limit) : std::nullopt;
  return 0;
}

int getrlimit(__rlimit_resource_t resource, rlimit* limit) noexcept {
  static const auto next = support::Next(&getrlimit, "getrlimit");
  if (resource != RLIMIT_RTTIME || !raised) return next(resource, limit);
  *limit = *raised;
  return 0;
}

}  // extern "C"

namespace {

constexpr int kThreads = 4;

/// A request that takes so long was not answered, but given up.
constexpr long long kGivenUpMs = 350;
int tries = 1;

template <class Value>
void Say(const char* name, const Value& value) {
  if constexpr (std::is_arithmetic_v<Value>) {
    Say(name, std::to_string(value));
  } else {
    std::printf("%s %s\n", name, std::string(value).c_str());
  }
}

/// Takes a capability from all sets of the calling thread, for good.
bool GiveUp(int capability) {
  prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_LOWER, capability, 0, 0);
  // Who may not has no right to win back either.
  prctl(PR_CAPBSET_DROP, capability, 0, 0, 0);
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct data[2] = {};
  if (syscall(SYS_capget, &header, data) != 0) return false;
  const unsigned int others = ~(1U << capability);
  data[0].effective &= others;
  data[0].permitted &= others;
  data[0].inheritable &= others;
  return syscall(SYS_capset, &header, data) == 0;
}

bool SetLimit(__rlimit_resource resource, rlim_t soft, rlim_t hard) {
  const rlimit limit{soft, hard};
  return setrlimit(resource, &limit) == 0;
}

/// A thread that waits for its end.
class IdleThread {
 public:
  IdleThread()
      : thread_([this] {
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

  /// \param ms how long the kernel and the service took, but for tries that were given up
  int SetRealTime(long long* ms = nullptr) {
    int error = -1;
    for (int i = 0; i < tries; ++i) {
      const support::Stopwatch stopwatch;
      error = platform::SetThreadRealTime(thread_.native_handle(), number_);
      if (ms != nullptr) *ms = stopwatch.Ms();
      if (error == 0 || stopwatch.Ms() < kGivenUpMs) break;
    }
    return error;
  }
  int SetPriority(int priority) { return platform::SetThreadPriority(thread_.native_handle(), number_, priority); }
  std::string Policy() const {
    const int policy = sched_getscheduler(static_cast<pid_t>(number_)) & ~SCHED_RESET_ON_FORK;
    return policy == SCHED_RR ? "round-robin" : policy == SCHED_OTHER ? "other" : std::to_string(policy);
  }

 private:
  std::promise<unsigned int> id_;
  std::promise<void> end_;
  std::thread thread_;
  const unsigned int number_;
};

void SayLimits() {
  rlimit limit{};
  getrlimit(RLIMIT_RTTIME, &limit);
  const auto text = [](rlim_t value) { return value == RLIM_INFINITY ? "unlimited" : std::to_string(value); };
  Say("limits", text(limit.rlim_cur) + ' ' + text(limit.rlim_max));
}

/// One thread that is made real-time and ordinary again; the host's own main context has something to do meanwhile.
void AskForOne() {
  const support::HostSource source(support::HostSource::kIdle);
  IdleThread thread;
  long long ms = 0;
  const int error = thread.SetRealTime(&ms);
  Say("ms", ms);
  Say("error", error);
  Say("policy", thread.Policy());
  SayLimits();
  Say("turns", source.Count());
  g_main_context_iteration(nullptr, FALSE);
  Say("turns-later", source.Count());
  Say("context", g_main_context_get_thread_default() == nullptr ? "default" : "other");
  // The nice value that it began with: any user may give that back.
  Say("back", thread.SetPriority(31 - getpriority(PRIO_PROCESS, 0)));
  Say("policy-later", thread.Policy());
}

/// What is there now and was not before. Two of GLib's own threads keep a descriptor each to be woken up with.
std::string Opened(const support::OpenDescriptors& before) {
  support::OpenDescriptors after = support::ListOpenDescriptors();
  int workers = 2;
  for (auto i = after.begin(); i != after.end();) {
    const bool is_workers = before.count(i->first) == 0 && i->second == "anon_inode:[eventfd]" && workers-- > 0;
    i = is_workers ? after.erase(i) : std::next(i);
  }
  return support::DescribeChanges(before, after);
}

/// Stops all other threads for as long as it lives, as a machine does that has no time for them.
class HaltedThreads {
 public:
  HaltedThreads() {
    // For good: a thread may come to its signal late.
    signal(SIGUSR1, &HaltedThreads::Halt);
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
      const int thread = std::stoi(entry.path().filename());
      if (thread != gettid()) syscall(SYS_tgkill, getpid(), thread, SIGUSR1);
    }
  }
  ~HaltedThreads() { halted = false; }
  HaltedThreads(const HaltedThreads&) = delete;
  HaltedThreads& operator=(const HaltedThreads&) = delete;

 private:
  static void Halt(int) {
    while (halted) poll(nullptr, 0, 5);
  }

  static inline std::atomic<bool> halted{true};
};

void AskWhileHalted() {
  IdleThread().SetRealTime();
  const HaltedThreads halted;
  const support::Stopwatch stopwatch;
  Say("error-while-halted", platform::SetThreadRealTime(pthread_self(), platform::CurrentThreadId()));
  Say("ms-while-halted", stopwatch.Ms());
}

/// GLib's threads are not there any more in the child.
void AskInAChild() {
  IdleThread().SetRealTime();
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    const support::Stopwatch stopwatch;
    const int error = platform::SetThreadRealTime(pthread_self(), platform::CurrentThreadId());
    Say("error-of-child", error);
    Say("ms-of-child", stopwatch.Ms());
    std::fflush(stdout);
    _exit(0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  Say("end-of-child", status);
}

/// A descriptor that each request left open would show after three of them.
void AskThreeTimes(const support::OpenDescriptors& before) {
  AskForOne();
  for (int i = 0; i < 2; ++i) Say("error-of-others", IdleThread().SetRealTime());
  // A thread of GLib's lets go of the request's context a moment after it has answered.
  std::string opened;
  support::WaitUntil([&] { return (opened = Opened(before)).empty(); });
  Say("opened", opened);
}

void AskAtOnce() {
  std::vector<std::unique_ptr<IdleThread>> threads;
  std::vector<std::future<int>> errors;
  for (int i = 0; i < kThreads; ++i) {
    threads.push_back(std::make_unique<IdleThread>());
    errors.push_back(std::async(std::launch::async, [thread = threads.back().get()] { return thread->SetRealTime(); }));
  }
  for (int i = 0; i < kThreads; ++i) {
    Say("error", errors[static_cast<std::size_t>(i)].get());
    Say("policy", threads[static_cast<std::size_t>(i)]->Policy());
  }
  SayLimits();
}

void AskWithoutDescriptors() {
  IdleThread thread;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  SetLimit(RLIMIT_NOFILE, 64, limit.rlim_max);
  std::vector<int> all;
  for (int copy; (copy = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)) >= 0;) all.push_back(copy);
  Say("error", thread.SetRealTime());
  // Some, but not enough.
  for (int i = 0; i < 3; ++i) {
    close(all.back());
    all.pop_back();
  }
  Say("error", thread.SetRealTime());
  SayLimits();
}

int Call(const std::vector<std::string>& options) {
  const auto has = [&](const char* name) { return std::find(options.begin(), options.end(), name) != options.end(); };
  if (const auto limits = std::find(options.begin(), options.end(), "limits"); limits != options.end()) {
    if (!SetLimit(RLIMIT_RTTIME, std::stoull(limits[1]), std::stoull(limits[2]))) return 3;
  }
  // The host's own choice, and not the one that the library makes when it is loaded.
  signal(SIGPIPE, SIG_DFL);
  if (!GiveUp(CAP_SYS_NICE) || !GiveUp(CAP_SYS_RESOURCE)) return 4;
  may_raise = has("may-raise");
  if (has("patient")) tries = 20;
  if (!SetLimit(RLIMIT_RTPRIO, 0, 0)) return 5;
  if (has("no-descriptors")) {
    AskWithoutDescriptors();
  } else if (has("at-once")) {
    AskAtOnce();
  } else {
    g_main_context_iteration(nullptr, FALSE);
    const support::OpenDescriptors before = support::ListOpenDescriptors();
    if (has("halted")) AskWhileHalted();
    if (has("forked")) AskInAChild();
    AskThreeTimes(before);
  }
  struct sigaction action = {};
  sigaction(SIGPIPE, nullptr, &action);
  Say("sigpipe", action.sa_handler == SIG_DFL ? "default" : "other");
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + count);
  if (words.size() == 2 && words[0] == "serve") support::FakeRealtimeKit(words[1]).Run();
  if (!words.empty() && words[0] == "call") return Call({words.begin() + 1, words.end()});
  return 2;
}
