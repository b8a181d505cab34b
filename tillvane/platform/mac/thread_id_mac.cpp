#include <mach/mach.h>
#include <pthread.h>
#include <sched.h>

#include <tillvane/platform/thread_id.h>

namespace platform {

bool IsMainThread() { return pthread_main_np() != 0; }

// The port that mach_thread_self() gives, without the reference that it would add with each call.
unsigned int CurrentThreadId() { return pthread_mach_thread_np(pthread_self()); }

int SetThreadPriority(pthread_t thread, unsigned int, int priority) {
  sched_param parameters = {};
  parameters.sched_priority = priority;
  return pthread_setschedparam(thread, SCHED_OTHER, &parameters);
}

// The kernel's answers are error numbers of its own.
int SetThreadRealTime(pthread_t thread, unsigned int) {
  const thread_act_t port = pthread_mach_thread_np(thread);
  thread_time_constraint_policy_data_t constraint = {};
  auto* const words = reinterpret_cast<thread_policy_t>(&constraint);
  mach_msg_type_number_t count = THREAD_TIME_CONSTRAINT_POLICY_COUNT;
  boolean_t default_wanted = TRUE;
  const kern_return_t asked = thread_policy_get(port, THREAD_TIME_CONSTRAINT_POLICY, words, &count, &default_wanted);
  return asked != KERN_SUCCESS ? asked : thread_policy_set(port, THREAD_TIME_CONSTRAINT_POLICY, words, count);
}

}  // namespace platform
