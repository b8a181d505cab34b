#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include <tillvane/system/LProcessList.h>

// What a process may be called, and how many there may be: `named NAME`, `wait`, `zombie`, `churn`, `farm COUNT`.

namespace {

int WaitForTheEnd() {
  std::puts("ready");
  std::fflush(stdout);
  for (;;) pause();
}

/// A child that has ended keeps its number and its name until somebody asks how.
pid_t StartZombie() {
  const pid_t child = vfork();
  if (child == 0) _exit(0);
  return child;
}

/// Processes that begin and end all the time.
int Churn() {
  std::puts("ready");
  std::fflush(stdout);
  for (;;) {
    const pid_t child = fork();
    if (child == 0) _exit(0);
    if (child > 0) waitpid(child, nullptr, 0);
  }
}

/// Fills a table of processes that nobody else sees. Those that have ended are in it like any other, and take little.
int Fill(unsigned long count) {
  std::set<int> children;
  while (children.size() < count) {
    const pid_t child = StartZombie();
    if (child < 0) return 4;
    children.insert(child);
  }
  kinfo_proc* list = nullptr;
  const unsigned int found = LGetBSDProcessList(&list);
  if (list == nullptr) return 5;
  unsigned long found_children = 0;
  std::set<int> numbers;
  for (const kinfo_proc* record = list; record < list + found; ++record) {
    numbers.insert(record->kp_proc.p_pid);
    found_children += children.contains(record->kp_proc.p_pid) && std::strcmp(record->kp_proc.p_comm, "farmer") == 0;
  }
  std::free(list);
  std::printf("%u listed, %zu different, %lu children, %d is the first\n", found, numbers.size(), found_children,
              LGetBSDProcessUid("FARMER"));
  return 0;
}

/// The first process of a new table, with a look at it of its own.
int Farm(unsigned long count) {
  prctl(PR_SET_NAME, "farmer");
  if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return 2;
  if (mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0) return 3;
  return Fill(count);
}

/// \return 77 when a table of one's own is not to be had
int FarmApart(unsigned long count) {
  if (unshare(CLONE_NEWPID | CLONE_NEWNS) != 0) return 77;
  const pid_t farmer = fork();
  if (farmer == 0) {
    const int result = Farm(count);
    std::fflush(stdout);
    _exit(result);
  }
  int status = 0;
  if (farmer < 0 || waitpid(farmer, &status, 0) != farmer) return 1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  const char* argument = argc > 2 ? argv[2] : "";
  if (what == "named") prctl(PR_SET_NAME, argument);
  if (what == "named" || what == "wait") return WaitForTheEnd();
  if (what == "zombie") {
    std::printf("%d\n", StartZombie());
    return WaitForTheEnd();
  }
  if (what == "churn") return Churn();
  if (what == "farm") return FarmApart(std::strtoul(argument, nullptr, 10));
  return 100;
}
