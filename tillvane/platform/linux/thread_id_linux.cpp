#include <tillvane/platform/linux/thread_id_linux.h>

#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace platform {

namespace thread_id {
constinit thread_local Kind kind = Kind::kUnknown;
}

bool IsMainThread() {
  using thread_id::Kind;
  using thread_id::kind;
  // The kernel is asked once in each thread.
  if (kind == Kind::kUnknown) kind = gettid() == getpid() ? Kind::kMain : Kind::kOther;
  return kind == Kind::kMain;
}

unsigned int CurrentThreadId() { return static_cast<unsigned int>(gettid()); }

int SetThreadPriority(pthread_t, unsigned int id, int priority) {
  const auto thread = static_cast<pid_t>(id);
  const sched_param none{};
  // A real-time thread keeps no nice value to speak of: it becomes an ordinary one first.
  const int policy = sched_getscheduler(thread);
  if (policy < 0 || (policy != SCHED_OTHER && sched_setscheduler(thread, SCHED_OTHER, &none) < 0)) return errno;
  constexpr long long default_priority = 31;
  const auto nice = static_cast<int>(std::clamp(default_priority - priority, -20LL, 19LL));
  return setpriority(PRIO_PROCESS, id, nice) == 0 ? 0 : errno;
}

int SetThreadRealTime(pthread_t, unsigned int id) {
  sched_param lowest{};
  lowest.sched_priority = sched_get_priority_min(SCHED_RR);
  return sched_setscheduler(static_cast<pid_t>(id), SCHED_RR, &lowest) == 0 ? 0 : errno;
}

}  // namespace platform
