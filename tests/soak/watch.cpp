#include "watch.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

#include "allocations.h"

namespace soak {

constinit Allocations allocations;

namespace {

namespace fs = std::filesystem;

/// Of a listing that changes meanwhile: what cannot be read on is as long as it was read.
template <class Iterator, class Function>
void ForEachIn(const std::string& folder, const Function& function) {
  std::error_code error;
  for (Iterator entry(folder, error); !error && entry != Iterator(); entry.increment(error)) function(entry->path());
}

template <class Iterator>
int CountEntries(const std::string& folder) {
  int count = 0;
  ForEachIn<Iterator>(folder, [&count](const fs::path&) { ++count; });
  return count;
}

std::string WithoutNumbers(std::string name) {
  std::erase_if(name, [](char character) { return character >= '0' && character <= '9'; });
  return name;
}

/// What the descriptors are, and how many of each.
std::map<std::string, int> ListDescriptors() {
  std::map<std::string, int> descriptors;
  ForEachIn<fs::directory_iterator>("/proc/self/fd", [&descriptors](const fs::path& path) {
    std::error_code error;
    const fs::path target = fs::read_symlink(path, error);
    if (!error) ++descriptors[WithoutNumbers(target.string())];
  });
  return descriptors;
}

struct SemaphoreSet {
  int number = 0;
  uid_t creator = 0;
  long changed = 0;  ///< seconds since 1970
};

/// The semaphore sets of the whole system.
std::vector<SemaphoreSet> ListSemaphoreSets() {
  std::vector<SemaphoreSet> sets;
  std::ifstream table("/proc/sysvipc/sem");
  std::string line;
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    long key, mode, semaphores, owner, group, creators_group, used;
    SemaphoreSet set;
    if (fields >> key >> set.number >> mode >> semaphores >> owner >> group >> set.creator >> creators_group >> used >>
        set.changed) {
      sets.push_back(set);
    }
  }
  return sets;
}

std::set<int> NumbersOf(const std::vector<SemaphoreSet>& sets) {
  std::set<int> numbers;
  for (const SemaphoreSet& set : sets) numbers.insert(set.number);
  return numbers;
}

/// Segments of both kinds that this process has made or has mapped.
int CountSharedMemory() {
  int count = 0;
  std::string line;
  std::ifstream table("/proc/sysvipc/shm");
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    long key, identifier, mode, size, creator = 0;
    if (fields >> key >> identifier >> mode >> size >> creator && creator == getpid()) ++count;
  }
  std::ifstream maps("/proc/self/maps");
  while (std::getline(maps, line)) {
    if (line.find(" /dev/shm/") != std::string::npos) ++count;
  }
  return count;
}

/// The parent in a line of /proc/PID/stat, where the name before it may hold anything.
int ParentIn(const std::string& stat) {
  const std::size_t name_end = stat.rfind(')');
  if (name_end == std::string::npos) return 0;
  std::istringstream fields(stat.substr(name_end + 1));
  char state;
  int parent = 0;
  fields >> state >> parent;
  return parent;
}

/// Children that run, and those that ended and nobody has waited for.
int CountChildren() {
  int count = 0;
  ForEachIn<fs::directory_iterator>("/proc", [&count](const fs::path& path) {
    if (std::atoi(path.filename().c_str()) == 0) return;
    std::ifstream file(path / "stat");
    std::string stat;
    std::getline(file, stat);
    if (ParentIn(stat) == getpid()) ++count;
  });
  return count;
}

long CountLines(const char* path) {
  std::ifstream file(path);
  return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
}

void LookAtMemory(Sample* sample) {
  sample->blocks = allocations.blocks;
  sample->heap = allocations.bytes;
  std::ifstream file("/proc/self/statm");
  file >> sample->mapped >> sample->resident;
  const long page = sysconf(_SC_PAGESIZE);
  sample->mapped *= page;
  sample->resident *= page;
  sample->mappings = CountLines("/proc/self/maps");
}

}  // namespace

Watch::Watch(std::string folder)
    : folder_(std::move(folder)), strangers_sets_(NumbersOf(ListSemaphoreSets())), descriptors_(ListDescriptors()) {}

void Watch::RemoveSemaphoreSets() const {
  for (const int set : OwnSemaphoreSets()) semctl(set, 0, IPC_RMID);
}

// Other programs come and go with sets of their own; a set tells who used it last.
std::set<int> Watch::OwnSemaphoreSets() const {
  std::set<int> own;
  for (const SemaphoreSet& set : ListSemaphoreSets()) {
    if (!strangers_sets_.contains(set.number) && semctl(set.number, 0, GETPID) == getpid()) own.insert(set.number);
  }
  return own;
}

// A set that nobody has used tells its user only. Other programs of this user use theirs as soon as they have made
// them.
int Watch::CountSemaphoreSets() const {
  constexpr long at_once = 2;
  auto count = static_cast<int>(OwnSemaphoreSets().size());
  for (const SemaphoreSet& set : ListSemaphoreSets()) {
    if (!strangers_sets_.contains(set.number) && set.creator == geteuid() &&
        set.changed + at_once < std::time(nullptr) && semctl(set.number, 0, GETPID) == 0) {
      ++count;
    }
  }
  return count;
}

Sample Watch::Look() const {
  Sample sample;
  // Memory first: what looks at the rest takes some.
  LookAtMemory(&sample);
  sample.counts = {CountEntries<fs::directory_iterator>("/proc/self/fd"),
                   CountEntries<fs::directory_iterator>("/proc/self/task"),
                   CountSemaphoreSets(),
                   CountSharedMemory(),
                   CountChildren(),
                   CountEntries<fs::recursive_directory_iterator>(folder_)};
  return sample;
}

std::string Watch::NewDescriptors() {
  std::map<std::string, int> before = std::exchange(descriptors_, ListDescriptors());
  std::string text;
  for (const auto& [name, count] : descriptors_) {
    const int more = count - before[name];
    if (more > 0) text += " " + name + " (" + std::to_string(more) + ")";
  }
  return text;
}

}  // namespace soak
