#include <poll.h>
#include <sched.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include <tillvane/core/LThread.h>
#include <tillvane/core/mutex_guard.h>
#include <tillvane/core/poll_for.h>
#include <tillvane/platform/thread_id.h>

namespace {

using core::MutexGuard;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;
constexpr unsigned int kNoPort = 0xFFFFFFFF;
constexpr int kRealTimePriority = 91;

}  // namespace

// The fields have the order and the widths that binary hosts know.
struct LThreadLayout {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
  static_assert(offsetof(LThread, handle_) == sizeof(void*));
  static_assert(offsetof(LThread, port_) == offsetof(LThread, handle_) + sizeof(pthread_t));
  static_assert(offsetof(LThread, priority_) == offsetof(LThread, port_) + 4);
  static_assert(offsetof(LThread, running_) == offsetof(LThread, priority_) + 4);
  static_assert(offsetof(LThread, stop_) == offsetof(LThread, running_) + 4);
  static_assert(offsetof(LThread, ended_) == offsetof(LThread, stop_) + 8);
  static_assert(offsetof(LThread, started_) == offsetof(LThread, ended_) + 8);
  static_assert(offsetof(LThread, start_lock_) >= offsetof(LThread, started_) + 8);
  static_assert(offsetof(LThread, state_lock_) == offsetof(LThread, start_lock_) + sizeof(pthread_mutex_t));
#pragma GCC diagnostic pop
  static_assert(sizeof(LThread::handle_) == sizeof(pthread_t) && std::atomic<pthread_t>::is_always_lock_free);
  static_assert(sizeof(LThread::port_) == 4 && sizeof(LThread::running_) == 1);
};

LThread::LThread() : port_(kNoPort) {
  core::InitRecursiveMutex(start_lock_);
  pthread_mutex_init(&state_lock_, nullptr);
}

LThread::LThread(const char*) : LThread() {}

LThread::~LThread() {
  StopThreadAndWait();
  pthread_mutex_destroy(&state_lock_);
  pthread_mutex_destroy(&start_lock_);
}

bool LThread::IsToStop() {
  // The object decides, as in the waits; without its pipe there is nothing but the mark.
  return stop_requested_.load() && (stop_.filedes[0] < 0 || stop_.IsSignaled());
}

bool LThread::ProcessWait(unsigned int ms) { return ended_.WaitSignalDual(stop_, ms); }

int LThread::ProcessWaitSignal(LSignalObjectRef signal, unsigned int ms) {
  std::array<pollfd, 2> polled{{{stop_.filedes[0], POLLIN, 0}, {signal.filedes[0], POLLIN, 0}}};
  if (core::PollReadable(polled.data(), polled.size(), ms) <= 0) return 2;
  return polled[0].revents != 0 ? 1 : 0;
}

int LThread::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, unsigned int ms) {
  group.Add(stop_);
  if (group.SelectInPlace(ms) <= 0) return 2;
  return group.Has(stop_) ? 1 : 0;
}

int LThread::Start(int priority) {
  const MutexGuard guard(start_lock_);
  if (running_.load()) return 0;
  priority_ = priority;
  if (Create(&LThread::ThreadCallback) == 0) SetPriority(priority);
  return 0;
}

/// Makes the thread and waits until it is there. The start lock is held.
int LThread::Create(void* (*entry)(void*)) {
  {
    // An earlier thread has left the object when the lock is free, and the new one does not end before it has a handle.
    const MutexGuard guard(state_lock_);
    ForgetSignals();
    running_.store(true);
    pthread_t handle;
    if (const int error = pthread_create(&handle, nullptr, entry, this)) {
      running_.store(false);
      return error;
    }
    handle_.store(handle);
  }
  ProcessWaitSignal(started_, kNoLimit);
  return 0;
}

void LThread::ForgetSignals() {
  if (stop_requested_.exchange(false)) stop_.Reset();
  if (was_started_) {
    ended_.Reset();
    started_.Reset();
  }
  was_started_ = true;
}

void* LThread::ThreadCallback(void* data) {
  // As an object's end: a function that calls pthread_exit ends its thread all the same.
  struct Ending {
    LThread& thread;
    ~Ending() { thread.End(); }
  };
  const Ending ending{*static_cast<LThread*>(data)};
  ending.thread.Run();
  return nullptr;
}

void LThread::Run() {
  port_.store(platform::CurrentThreadId());
  started_.Signal();
  ThreadFunction();
}

/// What the thread does to the object last. Who waits for the ended signal and then destroys the object waits for the
/// lock too.
void LThread::End() {
  const MutexGuard guard(state_lock_);
  running_.store(false);
  // Nobody is going to join it: the system takes its stack back by itself.
  if (handle_.exchange(0) != 0) pthread_detach(pthread_self());
  port_.store(kNoPort);
  ended_.Signal();
}

/// Who gets a handle joins the thread, and no other does.
pthread_t LThread::TakeHandle() {
  const MutexGuard guard(state_lock_);
  return handle_.exchange(0);
}

int LThread::SetPriority(int priority) {
  // A stop request and an interruption end the wait of a start early; the thread has no number before it has begun.
  while (running_.load() && port_.load() == kNoPort) {
    if (!started_.WaitSignal(kNoLimit)) sched_yield();
  }
  // The thread cannot end meanwhile, so that its number means no other thread.
  const MutexGuard guard(state_lock_);
  const pthread_t handle = handle_.load();
  const unsigned int id = port_.load();
  if (handle == 0 || id == kNoPort) return ESRCH;
  if (priority == kRealTimePriority) return platform::SetThreadRealTime(handle, id);
  return platform::SetThreadPriority(handle, id, priority);
}

void LThread::StopThreadSoon() {
  // Before and after: a start that forgets the request at the same time leaves no signal without the mark.
  stop_requested_.store(true);
  stop_.Signal();
  stop_requested_.store(true);
}

void LThread::StopThreadAndWait() {
  // A thread that is woken by the request finds its handle taken, and leaves the rest to the join.
  const pthread_t handle = TakeHandle();
  if (running_.load()) StopThreadSoon();
  Join(handle);
}

void LThread::JoinThread() { Join(TakeHandle()); }

/// Waits until the thread has left the object.
/// \param handle 0 when somebody else has it: who joins the thread too, or the thread, which is ending by itself
void LThread::Join(pthread_t handle) {
  if (handle != 0) {
    pthread_join(handle, nullptr);
    return;
  }
  while (running_.load()) {
    if (!ended_.WaitSignal(kNoLimit)) sched_yield();
  }
  const MutexGuard start_guard(start_lock_);
  const MutexGuard state_guard(state_lock_);
}

bool LIsMainThread() { return platform::IsMainThread(); }
