#include <poll.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <utility>

#include <tillvane/core/LThread.h>
#include <tillvane/core/mutex_guard.h>
#include <tillvane/core/poll_for.h>
#include <tillvane/diag/registered_thread.h>
#include <tillvane/platform/thread_id.h>

namespace {

using core::MutexGuard;

constexpr unsigned int kNoLimit = 0xFFFFFFFF;
constexpr unsigned int kNoPort = 0xFFFFFFFF;
constexpr int kRealTimePriority = 91;

}  // namespace

// The order and the widths of the fields are part of the binary interface.
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
  static_assert(sizeof(LThread::running_) == 1);
};

LThread::LThread() : port_(kNoPort) {
  core::InitRecursiveMutex(start_lock_);
  pthread_mutex_init(&state_lock_, nullptr);
  pthread_cond_init(&state_changed_, nullptr);
}

LThread::LThread(const char*) : LThread() {}

LThread::~LThread() {
  StopThreadAndWait();
  pthread_cond_destroy(&state_changed_);
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
    // A request for the earlier thread that is still being made must not reach the new one.
    while (requests_ > 0) pthread_cond_wait(&state_changed_, &state_lock_);
    ForgetSignals();
    running_.store(true);
    if (const int error = pthread_create(&handle_, nullptr, entry, this)) {
      handle_ = 0;
      running_.store(false);
      return error;
    }
    ++run_;
  }
  ProcessWaitSignal(started_, kNoLimit);
  return 0;
}

void LThread::ForgetSignals() {
  if (stop_requested_.exchange(false)) stop_.Reset();
  if (run_ != 0) {
    ended_.Reset();
    started_.Reset();
  }
}

void* LThread::ThreadCallback(void* data) {
  // As an object's end: a function that calls pthread_exit ends its thread all the same.
  struct Ending {
    LThread& thread;
    ~Ending() {
      // Who waits for the ended signal and then destroys the object waits for the lock too.
      const MutexGuard guard(thread.state_lock_);
      thread.EndLocked();
    }
  };
  const Ending ending{*static_cast<LThread*>(data)};
  ending.thread.Run();
  return nullptr;
}

void LThread::Run() {
  {
    const MutexGuard guard(state_lock_);
    port_ = platform::CurrentThreadId();
    pthread_cond_broadcast(&state_changed_);
  }
  // Registered before anybody hears that it has started and until after its function, also when that calls
  // pthread_exit.
  const diag::RegisteredThread registered;
  started_.Signal();
  ThreadFunction();
}

/// What the thread does to the object last, holding the state lock.
void LThread::EndLocked() {
  running_.store(false);
  // Nobody is going to join it: the system takes its stack back by itself.
  if (!taken_) pthread_detach(pthread_self());
  taken_ = false;
  handle_ = 0;
  port_ = kNoPort;
  ended_.Signal();
  pthread_cond_broadcast(&state_changed_);
}

/// Who gets a handle joins the thread, and no other does.
LThread::Taken LThread::Take(bool asks_to_stop) {
  const MutexGuard guard(state_lock_);
  if (!running_.load()) return {};
  if (asks_to_stop) ++requests_;
  return {std::exchange(taken_, true) ? 0 : handle_, run_, asks_to_stop};
}

/// Asks what was taken to stop, if so it was taken, and waits for its end and for nothing that was started since.
void LThread::Join(const Taken& taken) {
  if (taken.run == 0) return;
  // Not with the lock: the thread that wakes up wants it.
  if (taken.is_asked_to_stop) StopThreadSoon();
  if (taken.handle != 0) pthread_join(taken.handle, nullptr);
  const MutexGuard guard(state_lock_);
  while (running_.load() && run_ == taken.run) pthread_cond_wait(&state_changed_, &state_lock_);
  if (taken.is_asked_to_stop && --requests_ == 0) pthread_cond_broadcast(&state_changed_);
}

int LThread::SetPriority(int priority) {
  // The thread cannot end meanwhile, so that its number means no other thread.
  const MutexGuard guard(state_lock_);
  // A stop request and an interruption end the wait of a start before the thread has told its number.
  while (running_.load() && port_ == kNoPort) pthread_cond_wait(&state_changed_, &state_lock_);
  if (!running_.load()) return ESRCH;
  if (priority == kRealTimePriority) return platform::SetThreadRealTime(handle_, port_);
  return platform::SetThreadPriority(handle_, port_, priority);
}

void LThread::StopThreadSoon() {
  // Before and after: a start that forgets the request at the same time leaves no signal without the mark.
  stop_requested_.store(true);
  stop_.Signal();
  stop_requested_.store(true);
}

void LThread::StopThreadAndWait() {
  Join(Take(true));
  WaitForStart();
}

void LThread::JoinThread() {
  Join(Take(false));
  WaitForStart();
}

/// A start that has not answered still uses the object, although its thread has ended.
void LThread::WaitForStart() { const MutexGuard guard(start_lock_); }

bool LIsMainThread() { return platform::IsMainThread(); }
