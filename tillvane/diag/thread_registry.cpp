#include <tillvane/diag/thread_registry.h>

#include <algorithm>
#include <cstddef>

#include <tillvane/core/mutex_guard.h>
#include <tillvane/diag/status_slot.h>
#include <tillvane/platform/thread_id.h>

// The order and the widths of the fields are part of the binary interface.
static_assert(offsetof(LDebugThreadData, id) == 0);
static_assert(offsetof(LDebugThreadData, dialog) == 4);
static_assert(offsetof(LDebugThreadData, name) == 36);
static_assert(sizeof(LDebugThreadData) == 44 && sizeof gDebugThreadData == 64 * 44);

// Good for use before the library's static initialiser has run: a program that has the library's objects in itself may
// start threads in one of its own.
constinit LDebugThreadData gDebugThreadData[diag::kMostThreads] = {};
constinit unsigned int gnDebugThreads = 0;
constinit pthread_mutex_t loDebugThreads = PTHREAD_MUTEX_INITIALIZER;
constinit unsigned int gdwMainThreadId = 0;
constinit unsigned int gwDebugCurrentCommand = 1;
constinit unsigned int gwDebugLastCommand = 0;

namespace diag {

namespace {

std::atomic<bool> has_ended{false};

/// The thread that forks, from just before until just after. The lock is held.
unsigned int forking_thread = 0;

unsigned int IdOf(unsigned int index) { return Shared(gDebugThreadData[index].id).load(std::memory_order_acquire); }

void SetId(unsigned int index, unsigned int id) {
  Shared(gDebugThreadData[index].id).store(id, std::memory_order_release);
}

/// A record that nobody else claims or finds. \return kNoRecord when all 64 are in use
unsigned int ClaimRecord() {
  const RegistryLock lock;
  if (!lock.IsHeld()) return kNoRecord;
  unsigned int index = 0;
  while (index < gnDebugThreads && IdOf(index) != kFree) ++index;
  if (index >= kMostThreads) return kNoRecord;
  SetId(index, kClaimed);
  if (index == gnDebugThreads) Shared(gnDebugThreads).store(index + 1, std::memory_order_release);
  return index;
}

/// The lock is held.
void DropFreeRecordsAtTheEnd() {
  unsigned int count = gnDebugThreads;
  while (count > 0 && IdOf(count - 1) == kFree) --count;
  Shared(gnDebugThreads).store(count, std::memory_order_release);
}

// No other thread is in the middle of something when a process is forked.
void LockForFork() {
  if (has_ended) return;
  pthread_mutex_lock(&loDebugThreads);
  forking_thread = platform::CurrentThreadId();
}

void UnlockAfterFork() {
  if (!has_ended) pthread_mutex_unlock(&loDebugThreads);
}

/// Of all threads, the forked process has only the one that forked, and that has another number.
void KeepForkingThread() {
  if (has_ended) return;
  // The mutex knows its holder by the old number.
  core::InitRecursiveMutex(loDebugThreads);
  const unsigned int id = platform::CurrentThreadId();
  for (unsigned int i = 0; i < gnDebugThreads; ++i) SetId(i, IdOf(i) == forking_thread ? id : kFree);
  DropFreeRecordsAtTheEnd();
  status_slot.MoveTo(id, forking_thread);
  gdwMainThreadId = id;
}

}  // namespace

unsigned int FindRecord(unsigned int id) {
  const unsigned int count = std::min(Shared(gnDebugThreads).load(std::memory_order_acquire), kMostThreads);
  for (unsigned int i = 0; i < count; ++i) {
    if (IdOf(i) == id) return i;
  }
  return kNoRecord;
}

RegistryLock::RegistryLock() : held_(!has_ended && pthread_mutex_lock(&loDebugThreads) == 0) {}

ThreadRegistry::ThreadRegistry() {
  core::InitRecursiveMutex(loDebugThreads);
  gdwMainThreadId = platform::CurrentThreadId();
  gwDebugCurrentCommand = 1;
  gwDebugLastCommand = 0;
  pthread_atfork(&LockForFork, &UnlockAfterFork, &KeepForkingThread);
}

ThreadRegistry::~ThreadRegistry() {
  has_ended = true;
  pthread_mutex_destroy(&loDebugThreads);
}

}  // namespace diag

void LDebugThreadDataStartThread(const char* tag) {
  const unsigned int index = diag::ClaimRecord();
  if (index == diag::kNoRecord) return;
  const unsigned int id = platform::CurrentThreadId();
  LDebugFormatThreadName(gDebugThreadData[index].name, tag, id);
  gDebugThreadData[index].dialog[0] = '\0';
  // Last, so that nobody finds a record that is half filled.
  diag::SetId(index, id);
}

void LDebugThreadDataStopThread() {
  const diag::RegistryLock lock;
  if (!lock.IsHeld()) return;
  const unsigned int index = diag::FindRecord(platform::CurrentThreadId());
  if (index == diag::kNoRecord) return;
  diag::SetId(index, diag::kFree);
  diag::DropFreeRecordsAtTheEnd();
}
