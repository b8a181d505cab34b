#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <atomic>
#include <mutex>

#include "files.h"
#include "tasks.h"

namespace soak {

namespace {

constexpr unsigned int kLongMs = 60000;

/// What all the tasks of this kind meet at.
struct Shared {
  LLockObjectShared lock;
  std::mutex one_upgrader;
  long first = 0, second = 0;  ///< equal whenever nobody holds the lock exclusively
  std::atomic<int> in_named{0}, in_file{0};
  std::atomic<int> tasks{0};
  // Its last seven bytes tell it apart from other programs' names.
  const std::string name = "soak-" + std::to_string(10000000 + getpid()).substr(1);
};

/// In a section that one at a time may be in.
class Inside {
 public:
  explicit Inside(std::atomic<int>& count) : count_(count) { Require(++count_ == 1, "a lock lets one in at a time"); }
  ~Inside() { --count_; }
  Inside(const Inside&) = delete;
  Inside& operator=(const Inside&) = delete;

 private:
  std::atomic<int>& count_;
};

class LockTask final : public Task {
 public:
  LockTask(std::shared_ptr<Shared> shared, const std::string& folder)
      : shared_(std::move(shared)),
        file_(folder + "/locked"),
        own_file_(folder + "/own" + std::to_string(++shared_->tasks)) {
    std::filesystem::create_directories(folder);
    WriteFile(file_, "locked");
    WriteFile(own_file_, "locked");
  }

  void Round(LProcessInterface&) override {
    for (int i = 0; i < 100; ++i) ReadAndWrite();
    Upgrade();
    LockName();
    LockOwnFile();
    LockFile();
  }

 private:
  static int Open(const std::string& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    Require(descriptor >= 0, "the locked file is opened");
    return descriptor;
  }

  void ReadAndWrite() {
    shared_->lock.LockShared();
    const bool are_equal = shared_->first == shared_->second;
    shared_->lock.UnlockShared();
    shared_->lock.LockExclusive();
    ++shared_->first;
    ++shared_->second;
    shared_->lock.DowngradeLock();
    const bool are_still = shared_->first == shared_->second;
    shared_->lock.UnlockShared();
    Require(are_equal && are_still, "readers see nothing half written");
  }

  void Upgrade() {
    const std::lock_guard hold(shared_->one_upgrader);
    shared_->lock.LockShared();
    shared_->lock.UpgradeLock();
    ++shared_->first;
    const bool is_alone = shared_->first == shared_->second + 1;
    ++shared_->second;
    shared_->lock.UnlockExclusive();
    Require(is_alone, "who has upgraded is alone");
  }

  void LockName() {
    LSystemLockMutex lock(shared_->name.c_str());
    Require(lock.Lock(kLongMs), "a named lock is had");
    { const Inside inside(shared_->in_named); }
    lock.Unlock();
  }

  /// Of a file that nobody else locks: the lock is had, and keeps others out until it is given back.
  void LockOwnFile() const {
    const int first = Open(own_file_), second = Open(own_file_);
    const int answer = flocktimed(first, LOCK_EX | LOCK_NB, 500);
    const bool is_kept_out = flock(second, LOCK_EX | LOCK_NB) != 0;
    // Not by closing: a command that is just being started has it open for a moment.
    flock(first, LOCK_UN);
    const bool is_let_in = flock(second, LOCK_EX | LOCK_NB) == 0;
    flock(second, LOCK_UN);
    close(first);
    close(second);
    Require(answer == 0 && is_kept_out && is_let_in, "a file's lock keeps others out as long as it is held");
  }

  void LockFile() {
    const int file = Open(file_);
    const int answer = flocktimed(file, LOCK_EX | LOCK_NB, 500);
    // Whether the lock was had in time it does not say; to ask for one that is held does nothing.
    bool is_alone = true;
    if (flock(file, LOCK_EX | LOCK_NB) == 0) {
      is_alone = ++shared_->in_file == 1;
      --shared_->in_file;
    }
    close(file);
    Require(answer == 0 && is_alone, "a file's lock lets one in at a time");
  }

  const std::shared_ptr<Shared> shared_;
  const std::string file_, own_file_;
};

}  // namespace

std::unique_ptr<Task> MakeLockTask(const std::string& folder) {
  static std::weak_ptr<Shared> met;
  std::shared_ptr<Shared> shared = met.lock();
  if (shared == nullptr) met = shared = std::make_shared<Shared>();
  return std::make_unique<LockTask>(std::move(shared), folder);
}

}  // namespace soak
