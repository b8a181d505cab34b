#include <libproc2/pids.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <tillvane/system/LProcessList.h>

#include "families.h"

namespace bench {

namespace {

/// So many processes more than the machine has anyway, all of them asleep. Of another program: so many copies of this
/// one, which the families before have made large, may be more than there is memory.
class Sleepers {
 public:
  explicit Sleepers(int count) {
    char name[] = "sleep", seconds[] = "3600";
    char* const arguments[] = {name, seconds, nullptr};
    for (int i = 0; i < count; ++i) {
      pid_t child;
      if (posix_spawnp(&child, name, nullptr, nullptr, arguments, environ) == 0) children_.push_back(child);
    }
    are_there_ = children_.size() == static_cast<std::size_t>(count);
  }
  ~Sleepers() {
    for (const pid_t child : children_) kill(child, SIGKILL);
    for (const pid_t child : children_) waitpid(child, nullptr, 0);
  }
  Sleepers(const Sleepers&) = delete;
  Sleepers& operator=(const Sleepers&) = delete;

  bool AreThere() const { return are_there_; }
  unsigned int Count() const { return static_cast<unsigned int>(children_.size()); }

 private:
  std::vector<pid_t> children_;
  bool are_there_;
};

constexpr const char* kNotAll = "not all processes were listed";

/// Lists again and again; `list` says how many there are.
template <class List>
Body Listing(const std::shared_ptr<Sleepers>& sleepers, List list) {
  return [=](benchmark::State& state) {
    if (!sleepers->AreThere()) return state.SkipWithError("the processes could not be made");
    for ([[maybe_unused]] auto _ : state) {
      if (list() < sleepers->Count()) return state.SkipWithError(kNotAll);
    }
  };
}

unsigned int OurList() {
  kinfo_proc* list;
  const unsigned int count = LGetBSDProcessList(&list);
  benchmark::DoNotOptimize(list);
  std::free(list);
  return count;
}

/// What libproc2 keeps from one list to the next.
class LibraryOfPs {
 public:
  LibraryOfPs() {
    pids_item items[] = {PIDS_ID_PID, PIDS_CMD};
    procps_pids_new(&information_, items, static_cast<int>(std::size(items)));
  }
  ~LibraryOfPs() { procps_pids_unref(&information_); }
  LibraryOfPs(const LibraryOfPs&) = delete;
  LibraryOfPs& operator=(const LibraryOfPs&) = delete;

  unsigned int List() {
    const pids_fetch* const fetched = procps_pids_reap(information_, PIDS_FETCH_TASKS_ONLY);
    return fetched != nullptr ? static_cast<unsigned int>(fetched->counts->total) : 0;
  }

 private:
  pids_info* information_ = nullptr;
};

unsigned int ListByProgram() {
  FILE* const output = popen("exec ps -e -o pid=,comm=", "re");
  if (output == nullptr) return 0;
  unsigned int lines = 0;
  char line[256];
  while (fgets(line, sizeof line, output) != nullptr) ++lines;
  return pclose(output) == 0 ? lines : 0;
}

}  // namespace

void RunProcessesFamily(const Options& options, Results* results) {
  PrintHead("processes");
  const auto library = std::make_shared<LibraryOfPs>();
  for (const int count : {300, 3000}) {
    const auto sleepers = std::make_shared<Sleepers>(count);
    const std::string more = ", " + std::to_string(count) + " processes more than there are";
    Measure({"names and numbers" + more,
             {Clock::kThread},
             "LGetBSDProcessList",
             Listing(sleepers, OurList),
             {{"libproc2", Listing(sleepers, [library] { return library->List(); }), 0.6}}},
            options, results);
    Measure({"the same, by a program" + more,
             {Clock::kWall},
             "LGetBSDProcessList",
             Listing(sleepers, OurList),
             {{"popen of ps", Listing(sleepers, ListByProgram)}}},
            options, results);
  }
}

}  // namespace bench
