#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include <tillvane/core/LSystemLockMutex.h>
#include <tillvane/core/sleep_for.h>
#include <tillvane/core/system_lock_key.h>

struct LSystemLockMutexLayout {
  static_assert(sizeof(key_t) == 4 && sizeof(int) == 4);
  static_assert(offsetof(LSystemLockMutex, key_) == 0);
  static_assert(offsetof(LSystemLockMutex, identifier_) == 4);
  static_assert(offsetof(LSystemLockMutex, held_) == 8);
};

namespace {

constexpr unsigned int kStepMs = 10;

/// What `semctl` takes as its fourth argument. Some systems declare it as `semun`, others leave it to the caller.
union SemaphoreArgument {
  int value;
  semid_ds* status;
  unsigned short* values;
};

/// \return the identifier of a new set whose semaphore is free; -1 with errno
int Create(key_t key) {
  const int identifier = semget(key, 1, IPC_CREAT | IPC_EXCL | 0666);
  // Until it has a value it counts as held. A failure means that it is gone already, which the first use will show.
  if (identifier >= 0) semctl(identifier, 0, SETVAL, SemaphoreArgument{1});
  return identifier;
}

/// \return the identifier of the set with this key; -1 with errno
int OpenOrCreate(key_t key) {
  // Another process may remove the set before it is opened, and make it before it is made here. Not for ever.
  constexpr int most_tries = 64;
  for (int i = 0; i < most_tries; ++i) {
    const int opened = semget(key, 0, 0);
    if (opened >= 0 || errno != ENOENT) return opened;
    const int created = Create(key);
    if (created >= 0 || errno != EEXIST) return created;
  }
  return -1;
}

/// Adds to the semaphore; the system takes it back when the process ends.
bool Add(int identifier, short change, int flags) {
  sembuf operation{};
  operation.sem_op = change;
  operation.sem_flg = static_cast<short>(flags | SEM_UNDO);
  return semop(identifier, &operation, 1) == 0;
}

/// Somebody has set the value of a semaphore that this process holds.
bool IsOutOfStep(int identifier) {
  return semctl(identifier, 0, GETVAL) > 0 && semctl(identifier, 0, GETPID) == getpid();
}

}  // namespace

namespace core {

int SystemLockKey(const char* name) {
  unsigned int hash = 11223;
  for (; name != nullptr && *name != '\0'; ++name) {
    // Plain char is unsigned on some machines; the key must not depend on that.
    hash = (hash << 5) + static_cast<unsigned int>(static_cast<signed char>(*name));
  }
  return hash == 0 ? 1 : static_cast<int>(hash);
}

}  // namespace core

LSystemLockMutex::LSystemLockMutex(const char* name)
    : key_(core::SystemLockKey(name)), identifier_(OpenOrCreate(key_)) {}

LSystemLockMutex::~LSystemLockMutex() { Unlock(); }

bool LSystemLockMutex::Lock(unsigned int ms) {
  if (identifier_ < 0) {
    errno = EINVAL;
    return false;
  }
  for (long long budget = static_cast<long long>(ms) + kStepMs;;) {
    if (Take(IPC_NOWAIT)) return true;
    if (errno != EAGAIN) return false;
    core::SleepFor(kStepMs);
    budget -= kStepMs;
    if (budget <= kStepMs) return false;
  }
}

void LSystemLockMutex::LockForever() {
  if (identifier_ < 0) return;
  while (!Take(0) && errno == EAGAIN) {
  }
}

bool LSystemLockMutex::Take(int flags) {
  // What is held stays held when the same object asks in vain.
  const bool taken = Add(identifier_, -1, flags);
  held_ = held_ || taken;
  return taken;
}

void LSystemLockMutex::Unlock() {
  if (!held_) return;
  const bool given_back = IsOutOfStep(identifier_) ? semctl(identifier_, 0, IPC_RMID) == 0 : Add(identifier_, 1, 0);
  if (!given_back) return;
  held_ = false;
  identifier_ = -1;
}
