#include <pthread.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <unistd.h>

#include <barrier>
#include <cstdio>
#include <deque>
#include <new>
#include <shared_mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <tillvane/core/LLockObjectShared.h>
#include <tillvane/core/LSystemLockMutex.h>
#include <tillvane/core/system_lock_key.h>

#include "families.h"

namespace bench {

namespace {

// --- Inside one process ---

class StandardLock {
 public:
  void LockShared() { lock_.lock_shared(); }
  void UnlockShared() { lock_.unlock_shared(); }
  void LockExclusive() { lock_.lock(); }
  void UnlockExclusive() { lock_.unlock(); }

 private:
  std::shared_mutex lock_;
};

class PosixLock {
 public:
  ~PosixLock() { pthread_rwlock_destroy(&lock_); }
  void LockShared() { pthread_rwlock_rdlock(&lock_); }
  void UnlockShared() { pthread_rwlock_unlock(&lock_); }
  void LockExclusive() { pthread_rwlock_wrlock(&lock_); }
  void UnlockExclusive() { pthread_rwlock_unlock(&lock_); }

 private:
  pthread_rwlock_t lock_ = PTHREAD_RWLOCK_INITIALIZER;
};

constexpr int kPairs = 4096;

template <class Lock>
void Read(Lock& lock) {
  lock.LockShared();
  lock.UnlockShared();
}

template <class Lock>
void Write(Lock& lock) {
  lock.LockExclusive();
  lock.UnlockExclusive();
}

struct Reads {
  template <class Lock>
  void operator()(Lock& lock) const {
    for (int i = 0; i < kPairs; ++i) Read(lock);
  }
};

struct Writes {
  template <class Lock>
  void operator()(Lock& lock) const {
    for (int i = 0; i < kPairs; ++i) Write(lock);
  }
};

struct OneWriteInSixtyFour {
  template <class Lock>
  void operator()(Lock& lock) const {
    for (int i = 0; i < kPairs; ++i) {
      if (i % 64 == 0) {
        Write(lock);
      } else {
        Read(lock);
      }
    }
  }
};

/// Threads that do the same thing again and again, from a common start to a common end.
template <class Work>
class Crew {
 public:
  Crew(int threads, Work work) : work_(std::move(work)), start_(threads + 1), end_(threads + 1) {
    for (int i = 0; i < threads; ++i) threads_.emplace_back([this] { Run(); });
  }
  ~Crew() {
    is_over_ = true;
    start_.arrive_and_wait();
    for (std::thread& thread : threads_) thread.join();
  }
  Crew(const Crew&) = delete;
  Crew& operator=(const Crew&) = delete;

  void Round() {
    start_.arrive_and_wait();
    end_.arrive_and_wait();
  }

 private:
  void Run() {
    for (;;) {
      start_.arrive_and_wait();
      if (is_over_) return;
      work_();
      end_.arrive_and_wait();
    }
  }

  Work work_;
  std::barrier<> start_, end_;
  bool is_over_ = false;
  std::vector<std::thread> threads_;
};

/// One pass: each thread locks and unlocks so many times. One thread is the main one, which then waits for nobody.
template <class Lock, class Work>
Body Pass(int threads, Work work) {
  return [=](benchmark::State& state) {
    Lock lock;
    if (threads == 1) {
      for (auto _ : state) work(lock);
      return;
    }
    Crew crew(threads, [&] { work(lock); });
    for (auto _ : state) crew.Round();
  };
}

template <class Work>
void MeasureThreads(const std::string& what, Work work, int threads, const Options& options, Results* results) {
  const std::string title = what + (threads == 1 ? ", one thread" : ", " + std::to_string(threads) + " threads");
  const std::vector<Clock> clocks =
      threads == 1 ? std::vector<Clock>{Clock::kThread} : std::vector<Clock>{Clock::kProcess, Clock::kWall};
  Measure({title,
           clocks,
           "LLockObjectShared",
           Pass<LLockObjectShared>(threads, work),
           {{"pthread_rwlock", Pass<PosixLock>(threads, work), threads == 1 ? 1.5 : 0},
            {"std::shared_mutex", Pass<StandardLock>(threads, work)}},
           kPairs * threads},
          options, results);
}

// --- Between processes ---

/// The semaphore of our locks, removed at the end.
class OurName {
 public:
  ~OurName() {
    const int set = semget(core::SystemLockKey(name_.c_str()), 0, 0);
    if (set >= 0) semctl(set, 0, IPC_RMID);
  }
  const char* Get() const { return name_.c_str(); }

 private:
  std::string name_ = "tillvane-bench-" + std::to_string(getpid());
};

constexpr const char* kRefused = "the lock was refused";

/// Built, locked, unlocked and destroyed each time, as it is used.
void LockWithOpening(benchmark::State& state) {
  const OurName name;
  // The set stays, as it does where a lock is in use.
  const LSystemLockMutex first(name.Get());
  for (auto _ : state) {
    LSystemLockMutex lock(name.Get());
    if (!lock.Lock(0)) state.SkipWithError(kRefused);
    lock.Unlock();
  }
}

constexpr int kObjects = 1000;

/// An object serves once: so many are built while the clock stands still.
void LockWithoutOpening(benchmark::State& state) {
  const OurName name;
  for (auto _ : state) {
    state.PauseTiming();
    std::deque<LSystemLockMutex> locks;
    for (int i = 0; i < kObjects; ++i) locks.emplace_back(name.Get());
    state.ResumeTiming();
    for (LSystemLockMutex& lock : locks) {
      if (!lock.Lock(0)) state.SkipWithError(kRefused);
      lock.Unlock();
    }
  }
}

template <int kPasses>
void BareSemops(benchmark::State& state) {
  const int set = semget(IPC_PRIVATE, 1, IPC_CREAT | 0600);
  sembuf take{0, -1, IPC_NOWAIT | SEM_UNDO}, give{0, 1, SEM_UNDO};
  if (semop(set, &give, 1) != 0) state.SkipWithError(kRefused);
  for (auto _ : state) {
    for (int i = 0; i < kPasses; ++i) {
      if (semop(set, &take, 1) != 0 || semop(set, &give, 1) != 0) state.SkipWithError(kRefused);
    }
  }
  semctl(set, 0, IPC_RMID);
}

/// A mutex in memory that processes share, and that survives a holder's death.
class RobustMutex {
 public:
  RobustMutex() {
    void* memory = mmap(nullptr, sizeof(pthread_mutex_t), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    mutex_ = static_cast<pthread_mutex_t*>(memory);
    pthread_mutexattr_t kind;
    pthread_mutexattr_init(&kind);
    pthread_mutexattr_setpshared(&kind, PTHREAD_PROCESS_SHARED);
    pthread_mutexattr_setrobust(&kind, PTHREAD_MUTEX_ROBUST);
    pthread_mutex_init(mutex_, &kind);
    pthread_mutexattr_destroy(&kind);
  }
  ~RobustMutex() {
    if (mutex_ == nullptr) return;
    pthread_mutex_destroy(mutex_);
    munmap(mutex_, sizeof *mutex_);
  }
  RobustMutex(const RobustMutex&) = delete;
  RobustMutex& operator=(const RobustMutex&) = delete;
  pthread_mutex_t* Get() const { return mutex_; }

 private:
  pthread_mutex_t* mutex_ = nullptr;
};

template <int kPasses>
void LockRobustMutex(benchmark::State& state) {
  const RobustMutex mutex;
  if (mutex.Get() == nullptr) return state.SkipWithError("no memory");
  for (auto _ : state) {
    for (int i = 0; i < kPasses; ++i) {
      if (pthread_mutex_lock(mutex.Get()) != 0) state.SkipWithError(kRefused);
      pthread_mutex_unlock(mutex.Get());
    }
  }
}

template <int kPasses>
void LockFile(benchmark::State& state) {
  std::FILE* file = std::tmpfile();
  if (file == nullptr) return state.SkipWithError("no temporary file");
  const int descriptor = fileno(file);
  for (auto _ : state) {
    for (int i = 0; i < kPasses; ++i) {
      if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) state.SkipWithError(kRefused);
      flock(descriptor, LOCK_UN);
    }
  }
  std::fclose(file);
}

template <int kPasses>
Comparison BetweenProcesses(const char* title, const char* name, Body ours, double goal, std::string note = {}) {
  return {title,
          {Clock::kThread},
          name,
          std::move(ours),
          {Limit("two bare semops with SEM_UNDO", BareSemops<kPasses>, goal, std::move(note)),
           {"flock: lock, unlock", LockFile<kPasses>},
           {"robust pthread mutex in shared memory", LockRobustMutex<kPasses>}},
          kPasses};
}

}  // namespace

void RunLocksFamily(const Options& options, Results* results) {
  PrintHead("locks");
  for (const int threads : {1, 4, 16}) MeasureThreads("read lock", Reads(), threads, options, results);
  for (const int threads : {1, 4, 16}) MeasureThreads("write lock", Writes(), threads, options, results);
  for (const int threads : {4, 16})
    MeasureThreads("one write in 64 read locks", OneWriteInSixtyFour(), threads, options, results);
  Measure(BetweenProcesses<1>("between processes, opened each time", "LSystemLockMutex: open, lock, unlock",
                              LockWithOpening, 2.2),
          options, results);
  Measure(BetweenProcesses<kObjects>("between processes, already open", "LSystemLockMutex: lock, unlock",
                                     LockWithoutOpening, 1.4,
                                     "Quiet runs give 1.34 to 1.40: ours asks for the value of the semaphore before it "
                                     "gives it back, so that it makes three calls where the bare ones make two."),
          options, results);
}

}  // namespace bench
