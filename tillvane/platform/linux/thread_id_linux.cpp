#include <tillvane/platform/linux/thread_id_linux.h>

#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include <tillvane/platform/linux/realtime_kit_linux.h>

namespace platform {

namespace thread_id {
constinit thread_local Kind kind = Kind::kUnknown;

namespace {

// Whichever thread forks, the child begins with it.
[[maybe_unused]] const int asks_again_in_a_child = pthread_atfork(nullptr, nullptr, [] { kind = Kind::kUnknown; });

}  // namespace
}  // namespace thread_id

namespace {

/// To the kernel 0 means the caller, and a negative number is no thread's either.
bool IsThreadNumber(unsigned int id) { return static_cast<pid_t>(id) > 0; }

}  // namespace

bool IsMainThread() {
  using thread_id::Kind;
  using thread_id::kind;
  // The kernel is asked once in each thread.
  if (kind == Kind::kUnknown) kind = gettid() == getpid() ? Kind::kMain : Kind::kOther;
  return kind == Kind::kMain;
}

unsigned int CurrentThreadId() { return static_cast<unsigned int>(gettid()); }

int SetThreadPriority(pthread_t, unsigned int id, int priority) {
  if (!IsThreadNumber(id)) return ESRCH;
  const auto thread = static_cast<pid_t>(id);
  // A thread inherits its creator's policy, and a host's may be real-time, where a nice value counts for nothing: the
  // policy is looked at each time, for a tenth of a microsecond. sched_setattr would set both, and takes longer.
  const int policy = sched_getscheduler(thread);
  if (policy < 0) return errno;
  // Only a privileged process may take this flag back.
  const int flag = policy & SCHED_RESET_ON_FORK;
  const sched_param none{};
  if (policy != (SCHED_OTHER | flag) && sched_setscheduler(thread, SCHED_OTHER | flag, &none) < 0) return errno;
  constexpr long long default_priority = 31;
  const auto nice = static_cast<int>(std::clamp(default_priority - priority, -20LL, 19LL));
  return setpriority(PRIO_PROCESS, id, nice) == 0 ? 0 : errno;
}

int SetThreadRealTime(pthread_t, unsigned int id) {
  if (!IsThreadNumber(id)) return ESRCH;
  sched_param lowest{};
  lowest.sched_priority = sched_get_priority_min(SCHED_RR);
  // As RealtimeKit does it too: what such a thread starts, threads and processes, is ordinary again.
  constexpr int policy = SCHED_RR | SCHED_RESET_ON_FORK;
  if (sched_setscheduler(static_cast<pid_t>(id), policy, &lowest) == 0) return 0;
  const int error = errno;
  return error == EPERM && AskRealtimeKit(id, lowest.sched_priority) ? 0 : error;
}

}  // namespace platform
