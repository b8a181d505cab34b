#include <tillvane/platform/linux/event_pool_linux.h>

#include <pthread.h>

#include <array>
#include <cstddef>
#include <mutex>
#include <new>
#include <utility>

namespace platform::event_pool {

// Full, so that the first event that a thread keeps goes the slow way too, where its end is arranged for.
constinit thread_local OfThread of_thread{{nullptr, kBatchSize}, {}, State::kNew};

namespace {

/// Full batches on their way between threads: at most 2 MiB of events. Nobody waits for it, so that neither a busy
/// thread nor one that a fork left behind holds anybody up.
class Store {
 public:
  bool Put(const Batch& batch) {
    const std::unique_lock guard(lock_, std::try_to_lock);
    if (!guard || count_ == batches_.size()) return false;
    batches_[count_++] = batch;
    return true;
  }
  Batch Get() {
    const std::unique_lock guard(lock_, std::try_to_lock);
    return guard && count_ > 0 ? batches_[--count_] : Batch{};
  }

 private:
  std::mutex lock_;
  std::array<Batch, 256> batches_{};
  std::size_t count_ = 0;
};

constinit Store store;

void Free(Batch batch) {
  while (Event* event = batch.first) {
    batch.first = event->next;
    delete event;
  }
}

void FreeOf(OfThread& thread) {
  Free(thread.current);
  Free(thread.reserve);
  // Without an event and full: whatever the thread still does goes the slow way.
  thread = {{nullptr, kBatchSize}, {}, State::kEnded};
}

void EndThread(void* thread) { FreeOf(*static_cast<OfThread*>(thread)); }

/// Lets threads give their batches back when they end. A variable with a destructor would do that too, but keep the
/// library from being unloaded as long as the thread lives.
class ThreadEnds {
 public:
  ThreadEnds() : made_(pthread_key_create(&key_, EndThread) == 0) {}
  ~ThreadEnds() {
    if (made_) pthread_key_delete(key_);
    FreeOf(of_thread);
    for (Batch batch = store.Get(); batch.first != nullptr; batch = store.Get()) Free(batch);
  }
  ThreadEnds(const ThreadEnds&) = delete;
  ThreadEnds& operator=(const ThreadEnds&) = delete;
  bool Watch(OfThread* thread) const { return made_ && pthread_setspecific(key_, thread) == 0; }

 private:
  pthread_key_t key_;
  bool made_;
};

/// May this thread keep events?
bool IsUsed() {
#ifdef TILLVANE_SANITIZED
  // A kept event would hide that somebody still uses it.
  return false;
#endif
  if (of_thread.state == State::kNew) {
    static const ThreadEnds ends;
    of_thread = {{nullptr, 0}, {}, State::kUsed};
    if (!ends.Watch(&of_thread)) FreeOf(of_thread);
  }
  return of_thread.state == State::kUsed;
}

}  // namespace

Event* TakeSlowly() {
  if (IsUsed()) {
    of_thread.current = of_thread.reserve.first != nullptr ? std::exchange(of_thread.reserve, {}) : store.Get();
    if (of_thread.current.first != nullptr) return Take();
  }
  return new (std::nothrow) Event;
}

void KeepSlowly(Event* event) {
  if (!IsUsed()) {
    delete event;
    return;
  }
  // A new thread's batch is not full, after all.
  if (of_thread.current.count == kBatchSize) {
    if (of_thread.reserve.first != nullptr && !store.Put(of_thread.reserve)) Free(of_thread.reserve);
    of_thread.reserve = std::exchange(of_thread.current, {});
  }
  Keep(event);
}

}  // namespace platform::event_pool
