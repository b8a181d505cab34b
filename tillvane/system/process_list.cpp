#include <strings.h>
#include <sys/ipc.h>
#include <sys/sem.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <tillvane/core/LSystemLockMutex.h>
#include <tillvane/core/system_lock_key.h>
#include <tillvane/platform/process_table.h>
#include <tillvane/system/LProcessList.h>

int gGuiUid = -1;

namespace {

constexpr const char* kLockName = "UID";
constexpr unsigned int kLockMs = 5000;

using platform::ProcessTable;

/// \return the number of the first process whose name answers the question; -1 for none
template <class Question>
int FindProcess(const Question& is_it) {
  kinfo_proc* list;
  const unsigned int count = LGetBSDProcessList(&list);
  if (list == nullptr) return -1;
  const std::unique_ptr<kinfo_proc, decltype(&std::free)> owned(list, &std::free);
  const auto* const found =
      std::find_if(list, list + count, [&](const kinfo_proc& record) { return is_it(record.kp_proc.p_comm); });
  return found == list + count ? -1 : found->kp_proc.p_pid;
}

/// Whoever made the lock may have ended before marking it free: then nobody would ever get it.
void RemoveLock() {
  const int set = semget(core::SystemLockKey(kLockName), 0, 0);
  if (set >= 0) semctl(set, 0, IPC_RMID);
}

/// The variable is read without the lock, and the host sees it as it is.
std::atomic_ref<int> RememberedProcess() { return std::atomic_ref<int>(gGuiUid); }

void Remember(int process) {
  LSystemLockMutex lock(kLockName);
  if (lock.Lock(kLockMs)) {
    RememberedProcess() = process;
  } else {
    RemoveLock();
  }
}

}  // namespace

unsigned int LGetBSDProcessList(kinfo_proc** list) {
  *list = nullptr;
  unsigned long room = platform::ProcessTableSize();
  while (room > 0) {
    auto* const records = static_cast<kinfo_proc*>(std::malloc(room * sizeof(kinfo_proc)));
    if (records == nullptr) return static_cast<unsigned int>(room);
    unsigned long count;
    const ProcessTable result = platform::ReadProcessTable(records, room, count);
    if (result == ProcessTable::kRead) {
      *list = records;
      return static_cast<unsigned int>(count);
    }
    std::free(records);
    // It goes on growing while it is read again.
    room = result == ProcessTable::kTooLarge ? count + count / 10 + 1 : 0;
  }
  return 0;
}

int LGetBSDProcessUid(const char* name) {
  return FindProcess([=](const char* other) { return strcasecmp(other, name) == 0; });
}

int LGetProcessUid(const char* name) {
  const int remembered = RememberedProcess();
  if (remembered >= 0) return remembered;
  const int process = LGetBSDProcessUid(name);
  Remember(process);
  return process;
}

bool LIsApplicationRunning(const char* name) {
  return FindProcess([=](const char* other) { return std::strcmp(other, name) == 0; }) >= 0;
}

bool LGetPSNFromSignature(unsigned long signature, unsigned long type, ProcessSerialNumber* psn) {
  *psn = {};
  // Of a code that was written as characters, beyond ASCII, the sign may have come along.
  return platform::FindApplication(static_cast<unsigned int>(signature), static_cast<unsigned int>(type), *psn);
}
