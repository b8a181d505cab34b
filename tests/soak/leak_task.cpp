#include <fcntl.h>
#include <spawn.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <thread>

#include "files.h"
#include "tasks.h"

namespace soak {

namespace {

void LoseSemaphore() {
  const union {
    int value;
    void* pointer;
  } argument{1};
  semctl(semget(IPC_PRIVATE, 1, IPC_CREAT | 0600), 0, SETVAL, argument);
}

void LoseChild() {
  char name[] = "true";
  char* const arguments[] = {name, nullptr};
  pid_t child;
  posix_spawnp(&child, name, nullptr, nullptr, arguments, environ);
}

/// So large that little of it is enough, and nothing of it is ever in memory.
void LoseMapping() {
  constexpr std::size_t size = 16 * 1024 * 1024;
  static_cast<void>(mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
}

/// A segment that goes with its last user.
void LoseSharedMemory() {
  const int segment = shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600);
  shmat(segment, nullptr, 0);
  shmctl(segment, IPC_RMID, nullptr);
}

void Hang() {
  constexpr unsigned int for_ever = 0xFFFFFFFF;
  LSignalObject().WaitSignal(for_ever);
}

class HangingWork final : public LThreadRunOnMainThreadData {
 public:
  void MainThreadFunction() override { Hang(); }
};

void HangOnMainThread() {
  LThreadRunOnMainThread sender;
  sender.RunOnMainThread(new HangingWork);
  Hang();
}

/// As often as the slowest of the others have a round.
class LeakTask final : public Task {
 public:
  LeakTask(Leak leak, const std::string& folder) : leak_(leak), file_(folder + "/lost") {
    std::filesystem::create_directories(folder);
  }

  void Round(LProcessInterface& process) override {
    process.ProcessWait(50);
    ++rounds_;
    // What is counted is found at the first quiet point, and some of it is dear.
    const bool is_counted = leak_ != Leak::kMemory && leak_ != Leak::kMapping;
    if (!is_counted || rounds_ % 10 == 1) Lose();
  }

 private:
  void Lose() const {
    switch (leak_) {
      case Leak::kChild:
        return LoseChild();
      case Leak::kDescriptor:
        open("/dev/null", O_RDONLY | O_CLOEXEC);
        break;
      case Leak::kFile:
        return WriteFile(file_ + std::to_string(rounds_), "");
      case Leak::kHang:
        return Hang();
      case Leak::kMainHang:
        return HangOnMainThread();
      case Leak::kMapping:
        return LoseMapping();
      case Leak::kMemory:
        // So many that they are found on a machine so busy that there is one round from one quiet point to the next.
        for (int i = 0; i < 20; ++i) lost_ = std::malloc(100);
        break;
      case Leak::kSemaphore:
        return LoseSemaphore();
      case Leak::kSharedMemory:
        return LoseSharedMemory();
      case Leak::kThread:
        std::thread([] { pause(); }).detach();
    }
  }

  const Leak leak_;
  const std::string file_;
  unsigned int rounds_ = 0;
  // So that no compiler takes the allocation away.
  static inline void* volatile lost_ = nullptr;
};

}  // namespace

std::unique_ptr<Task> MakeLeakTask(Leak leak, const std::string& folder) {
  return std::make_unique<LeakTask>(leak, folder);
}

}  // namespace soak
