#pragma once

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include <tillvane/core/system_lock_key.h>

namespace support {

/// The name of a lock between processes that no other test and no other run has, and a look at its semaphore. Its set
/// is removed at the end.
class SystemLockName {
 public:
  SystemLockName() {
    // Only the last seven bytes of a name count, five bits of each: the process's number and some bits of the clock.
    const auto now = static_cast<unsigned int>(std::chrono::steady_clock::now().time_since_epoch().count());
    const unsigned int number = (now << 22) + static_cast<unsigned int>(getpid());
    name_ = "tillvane-test-";
    for (int shift = 30; shift >= 0; shift -= 5) name_ += static_cast<char>('@' + (number >> shift) % 32);
  }
  ~SystemLockName() { Remove(); }
  SystemLockName(const SystemLockName&) = delete;
  SystemLockName& operator=(const SystemLockName&) = delete;

  const char* Get() const { return name_.c_str(); }
  key_t Key() const { return core::SystemLockKey(Get()); }

  /// The set's identifier; -1 when there is none.
  int Set() const { return semget(Key(), 0, 0); }
  /// 1 when free, 0 when held; -1 when there is no set.
  int Value() const { return semctl(Set(), 0, GETVAL); }

  /// From this process, behind the lock's back.
  void SetValue(int value) const {
    const union {
      int value;
      void* pointer;
    } argument{value};
    semctl(Set(), 0, SETVAL, argument);
  }

  void Remove() const {
    const int set = Set();
    if (set >= 0) semctl(set, 0, IPC_RMID);
  }

 private:
  std::string name_;
};

}  // namespace support
