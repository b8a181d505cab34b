// How readers and writers meet without a lock of their own.
//
// A reader adds itself to the count and then looks whether the lock is closed; whoever wants it exclusively holds the
// guard, closes the lock and then looks at the count. Both steps of both are sequentially consistent, so that at least
// one of them sees the other: a reader that finds the lock closed goes back and queues at the guard. It may let the
// count be above 0 for a moment while somebody holds the lock exclusively, who has looked already and does not mind.
//
// The same way nobody sleeps through the readers' end: who waits counts itself as waiting and then looks at the count;
// who takes the count to 0 looks afterwards whether somebody waits, and writes a byte. While the count is 0 and
// somebody sleeps there is a byte in the pipe, or one on its way: whoever drains it looks at the count again, and if it
// is 0 now, writes one for the others. A byte may come late, when the next readers are in; it wakes somebody once, for
// nothing.

#include <cstddef>

#include <tillvane/core/LLockObjectShared.h>
#include <tillvane/core/sleep_for.h>

struct LLockObjectSharedLayout {
  static_assert(offsetof(LLockObjectShared, guard_) == 0);
  static_assert(offsetof(LLockObjectShared, readers_gone_) == sizeof(pthread_mutex_t));
  static_assert(offsetof(LLockObjectShared, count_) == sizeof(pthread_mutex_t) + sizeof(LSignalObject));
  static_assert(sizeof(std::atomic<int>) == 4 && std::atomic<int>::is_always_lock_free);
};

LLockObjectShared::LLockObjectShared() = default;

LLockObjectShared::~LLockObjectShared() { pthread_mutex_destroy(&guard_); }

void LLockObjectShared::LockShared() {
  if (!closed_.load(std::memory_order_relaxed)) {
    count_.fetch_add(1);
    if (!closed_.load()) return;
    Leave();
  }
  pthread_mutex_lock(&guard_);
  count_.fetch_add(1);
  pthread_mutex_unlock(&guard_);
}

void LLockObjectShared::UnlockShared() { Leave(); }

void LLockObjectShared::LockExclusive() {
  pthread_mutex_lock(&guard_);
  if (!CloseIfEmpty()) WaitAsWriter();
}

void LLockObjectShared::UnlockExclusive() {
  closed_.store(false, std::memory_order_release);
  pthread_mutex_unlock(&guard_);
}

void LLockObjectShared::UpgradeLock() {
  pthread_mutex_lock(&guard_);
  closed_.store(true);
  // Writers that wait for the last reader, which may be this one, wake up and queue at the guard.
  Leave();
  if (!IsEmpty()) WaitAsUpgrader();
}

void LLockObjectShared::DowngradeLock() {
  count_.fetch_add(1);
  UnlockExclusive();
}

void LLockObjectShared::Leave() {
  if (count_.fetch_sub(1) == 1 && waiting_.load() > 0) TellReadersGone();
}

bool LLockObjectShared::IsEmpty() const { return count_.load() <= 0; }

/// Called with the guard.
bool LLockObjectShared::CloseIfEmpty() {
  // Not to send readers to the guard in vain.
  if (!IsEmpty()) return false;
  closed_.store(true);
  if (IsEmpty()) return true;
  closed_.store(false, std::memory_order_release);
  return false;
}

/// Called with the guard, which it gives away while it sleeps.
void LLockObjectShared::WaitAsWriter() {
  waiting_.fetch_add(1);
  while (!CloseIfEmpty()) {
    if (!AreReadersStillIn()) continue;
    pthread_mutex_unlock(&guard_);
    WaitForReadersGone();
    pthread_mutex_lock(&guard_);
  }
  waiting_.fetch_sub(1);
}

/// Called with the guard, which it keeps: no new readers.
void LLockObjectShared::WaitAsUpgrader() {
  waiting_.fetch_add(1);
  while (!IsEmpty()) {
    if (AreReadersStillIn()) WaitForReadersGone();
  }
  waiting_.fetch_sub(1);
}

/// Called with the guard by a thread that waits, before it sleeps: drains the pipe, so that no old byte wakes it.
bool LLockObjectShared::AreReadersStillIn() {
  readers_gone_.Reset();
  // After the pipe: what is told from here on is a new byte, and who found it told has left before the next look.
  told_.store(false);
  if (!IsEmpty()) return true;
  // The byte may have been for all who wait.
  if (waiting_.load() > 1) TellReadersGone();
  return false;
}

void LLockObjectShared::TellReadersGone() {
  // One byte is enough, however many readers leave before somebody drains it.
  if (!told_.exchange(true)) readers_gone_.Signal();
}

void LLockObjectShared::WaitForReadersGone() const {
  // Without a pipe the wait fails at once.
  if (!readers_gone_.WaitSignal(0xFFFFFFFF)) core::SleepFor(1);
}
