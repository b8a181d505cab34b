#include <fcntl.h>
#include <spawn.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

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

/// As slow as the slowest of the others, so that what is found here is found there.
class LeakTask final : public Task {
 public:
  LeakTask(Leak leak, const std::string& folder) : leak_(leak), file_(folder + "/lost") {
    std::filesystem::create_directories(folder);
  }

  void Round(LProcessInterface& process) override {
    process.ProcessWait(50);
    ++rounds_;
    // The others are found at the first quiet point, and some of them are dear.
    if (leak_ != Leak::kMemory && rounds_ % 10 != 0) return;
    Lose();
  }

 private:
  void Lose() const {
    switch (leak_) {
      case Leak::kNone:
        break;
      case Leak::kChild:
        return LoseChild();
      case Leak::kDescriptor:
        open("/dev/null", O_RDONLY | O_CLOEXEC);
        break;
      case Leak::kFile:
        return WriteFile(file_ + std::to_string(rounds_), "");
      case Leak::kMemory:
        lost_ = std::malloc(100);
        break;
      case Leak::kSemaphore:
        return LoseSemaphore();
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
