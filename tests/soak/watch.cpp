#include "watch.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <system_error>
#include <utility>
#include <vector>

#include "allocations.h"

namespace soak {

constinit Allocations allocations;

namespace {

namespace fs = std::filesystem;

int CountEntries(const char* folder) {
  std::error_code error;
  return static_cast<int>(std::distance(fs::directory_iterator(folder, error), fs::directory_iterator()));
}

int CountFiles(const std::string& folder) {
  std::error_code error;
  return static_cast<int>(
      std::distance(fs::recursive_directory_iterator(folder, error), fs::recursive_directory_iterator()));
}

std::map<int, std::string> ListDescriptors() {
  std::error_code error;
  std::vector<fs::path> paths;
  for (const auto& entry : fs::directory_iterator("/proc/self/fd", error)) paths.push_back(entry.path());
  std::map<int, std::string> descriptors;
  for (const fs::path& path : paths) {
    const fs::path target = fs::read_symlink(path, error);
    // The listing's own is gone by now.
    if (!error) descriptors[std::atoi(path.filename().c_str())] = target.string();
  }
  return descriptors;
}

/// The semaphore sets of the whole system.
std::set<int> ListSemaphoreSets() {
  std::set<int> sets;
  std::ifstream table("/proc/sysvipc/sem");
  table.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  long key;
  int set;
  while (table >> key >> set) {
    sets.insert(set);
    table.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
  }
  return sets;
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
  std::error_code error;
  for (const auto& entry : fs::directory_iterator("/proc", error)) {
    if (std::atoi(entry.path().filename().c_str()) == 0) continue;
    std::ifstream file(entry.path() / "stat");
    std::string stat;
    std::getline(file, stat);
    if (ParentIn(stat) == getpid()) ++count;
  }
  return count;
}

long ResidentBytes() {
  std::ifstream file("/proc/self/statm");
  long all, resident = 0;
  file >> all >> resident;
  return resident * sysconf(_SC_PAGESIZE);
}

}  // namespace

Watch::Watch(std::string folder)
    : folder_(std::move(folder)), strangers_sets_(ListSemaphoreSets()), descriptors_(ListDescriptors()) {}

Watch::~Watch() {
  for (const int set : OwnSemaphoreSets()) semctl(set, 0, IPC_RMID);
}

// Other programs come and go with sets of their own; a set tells who used it last.
std::set<int> Watch::OwnSemaphoreSets() const {
  std::set<int> own;
  for (const int set : ListSemaphoreSets()) {
    if (!strangers_sets_.contains(set) && semctl(set, 0, GETPID) == getpid()) own.insert(set);
  }
  return own;
}

Sample Watch::Look() const {
  Sample sample;
  // Memory first: what looks at the rest takes some.
  sample.blocks = allocations.blocks;
  sample.heap = allocations.bytes;
  sample.resident = ResidentBytes();
  sample.counts = {CountEntries("/proc/self/fd"),
                   CountEntries("/proc/self/task"),
                   static_cast<int>(OwnSemaphoreSets().size()),
                   CountSharedMemory(),
                   CountChildren(),
                   CountFiles(folder_)};
  return sample;
}

std::string Watch::NewDescriptors() {
  const std::map<int, std::string> before = std::exchange(descriptors_, ListDescriptors());
  std::string text;
  for (const auto& [descriptor, target] : descriptors_) {
    const auto found = before.find(descriptor);
    if (found == before.end() || found->second != target) text += " " + std::to_string(descriptor) + " -> " + target;
  }
  return text;
}

}  // namespace soak
