// Another process at a lock: does what its arguments say, and writes a line when it has come so far.
//
// hold NAME
//   holds the lock of that name; SIGUSR1 unlocks it, SIGINT ends the process with it, SIGTERM returns
//
// raise NAME
//   adds 1 to the semaphore of that name, behind the lock's back
//
// count NAME FILE N
//   adds 1 to the number in the file N times, each time under the lock of that name
//
// flock FILE
//   holds the file exclusively; SIGUSR1 unlocks it, SIGTERM returns
//
// upgrade N
//   N threads hold a lock shared and then upgrade it

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <barrier>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <tillvane/core/LFileLock.h>
#include <tillvane/core/LLockObjectShared.h>
#include <tillvane/core/LSystemLockMutex.h>
#include <tillvane/core/system_lock_key.h>

namespace {

void Tell(const char* line) {
  std::puts(line);
  std::fflush(stdout);
}

/// \return the next of the signals that the parent sends
int NextSignal(const sigset_t& signals) {
  int number = 0;
  sigwait(&signals, &number);
  return number;
}

int Hold(const char* name, const sigset_t& signals) {
  LSystemLockMutex lock(name);
  lock.LockForever();
  Tell("held");
  for (;;) {
    const int number = NextSignal(signals);
    if (number == SIGTERM) return 0;
    if (number == SIGINT) _exit(0);
    lock.Unlock();
    Tell("unlocked");
  }
}

int Raise(const char* name) {
  sembuf add{0, 1, 0};
  return semop(semget(core::SystemLockKey(name), 0, 0), &add, 1) == 0 ? 0 : 1;
}

int Count(const char* name, const char* path, int times) {
  for (int i = 0; i < times; ++i) {
    LSystemLockMutex lock(name);
    // Either way to lock.
    if (i % 2 == 0) {
      lock.LockForever();
    } else if (!lock.Lock(60000)) {
      return 1;
    }
    std::FILE* file = std::fopen(path, "r+e");
    if (file == nullptr) return 1;
    char text[32] = "";
    if (std::fgets(text, sizeof text, file) == nullptr) text[0] = '\0';
    std::rewind(file);
    std::fprintf(file, "%ld", std::strtol(text, nullptr, 10) + 1);
    std::fclose(file);
  }
  return 0;
}

int HoldFile(const char* path, const sigset_t& signals) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (flocktimed(file, LOCK_EX | LOCK_NB, 0) != 0) return 1;
  Tell("held");
  while (NextSignal(signals) == SIGUSR1) {
    flock(file, LOCK_UN);
    Tell("unlocked");
  }
  close(file);
  return 0;
}

int Upgrade(int threads) {
  LLockObjectShared lock;
  std::barrier all_shared(threads, []() noexcept { Tell("shared"); });
  std::vector<std::thread> crew;
  for (int i = 0; i < threads; ++i) {
    crew.emplace_back([&] {
      lock.LockShared();
      all_shared.arrive_and_wait();
      lock.UpgradeLock();
      Tell("upgraded");
      lock.UnlockExclusive();
    });
  }
  for (std::thread& thread : crew) thread.join();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGUSR1, SIGINT, SIGTERM}) sigaddset(&signals, number);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  const std::string command = argc > 2 ? argv[1] : "";
  if (command == "hold") return Hold(argv[2], signals);
  if (command == "raise") return Raise(argv[2]);
  if (command == "count" && argc == 5) return Count(argv[2], argv[3], std::atoi(argv[4]));
  if (command == "flock") return HoldFile(argv[2], signals);
  if (command == "upgrade") return Upgrade(std::atoi(argv[2]));
  std::fprintf(stderr, "locks_child: no such command\n");
  return 2;
}
