#include <dirent.h>
#include <fcntl.h>
#include <fts.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <system_error>

#include <tillvane/files/LFileFolderIterator.h>

#include "families.h"
#include "programs.h"

namespace bench {

namespace {

/// Folders of empty files.
struct Forest {
  std::string name;
  int folders, files;

  int Entries() const { return folders * files + folders; }
};

bool Plant(const Forest& forest, const std::string& top) {
  bool is_whole = mkdir(top.c_str(), 0700) == 0;
  for (int i = 0; i < forest.folders && is_whole; ++i) {
    const std::string path = top + "/folder-" + std::to_string(i);
    mkdir(path.c_str(), 0700);
    const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (int j = 0; j < forest.files && is_whole; ++j) {
      is_whole = mknodat(folder, ("file-" + std::to_string(j) + ".txt").c_str(), S_IFREG | 0600, 0) == 0;
    }
    close(folder);
  }
  return is_whole;
}

// --- Walking: all entries, without asking the system for more than the listing has ---

/// \return how many entries there are below a folder
using Walker = long (*)(const std::string& folder);

long OurWalk(const char* folder) {
  long count = 0;
  char path[260];
  LFile::FolderIteratorAllFiles files;
  for (int found = files.Open(folder); found != 0; found = files.Next()) {
    const char* const name = files.entry.d_name;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    ++count;
    if (files.entry.d_type != DT_DIR) continue;
    LFile::_MakeFilePath(path, folder, name, "");
    count += OurWalk(path);
  }
  return count;
}

long OurWalkOf(const std::string& folder) { return OurWalk(folder.c_str()); }

/// What no listing can do without: each folder opened from the one above, read by the system call, and closed.
long BareWalk(int parent, const char* name) {
  const int folder = openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  long count = 0;
  alignas(dirent64) char entries[32768];
  ssize_t size = 0;
  while ((size = getdents64(folder, entries, sizeof entries)) > 0) {
    for (const char* next = entries; next != entries + size;) {
      const auto* const entry = reinterpret_cast<const dirent64*>(next);
      next += entry->d_reclen;
      if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
      ++count;
      if (entry->d_type == DT_DIR) count += BareWalk(folder, entry->d_name);
    }
  }
  close(folder);
  return count;
}

long BareWalkOf(const std::string& folder) { return BareWalk(AT_FDCWD, folder.c_str()); }

long FtsWalk(const std::string& folder) {
  std::string path = folder;
  char* const paths[] = {path.data(), nullptr};
  FTS* const stream = fts_open(paths, FTS_PHYSICAL | FTS_NOSTAT | FTS_NOCHDIR, nullptr);
  long count = -1;
  while (const FTSENT* const entry = fts_read(stream)) count += entry->fts_info != FTS_DP ? 1 : 0;
  fts_close(stream);
  return count;
}

long FilesystemWalk(const std::string& folder) {
  long count = 0;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    benchmark::DoNotOptimize(&entry);
    ++count;
  }
  return count;
}

/// Whatever it finds it also prints; there is no way to ask it for less.
bool FindWalk(const std::string& folder) { return RunProgram({"find", folder}); }

struct Grove {
  Workshop workshop;
  const std::string top = workshop.File("tree");
};

Body Walks(const std::shared_ptr<Grove>& grove, long entries, Walker walk) {
  return [=](benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
      const FamilyStopwatch stopwatch(state);
      if (walk(grove->top) != entries) return state.SkipWithError("not every entry was found");
    }
  };
}

Body Finds(const std::shared_ptr<Grove>& grove) {
  return [=](benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
      const FamilyStopwatch stopwatch(state);
      if (!FindWalk(grove->top)) return state.SkipWithError("find failed");
    }
  };
}

/// The memory that a child touches while it works, in KiB; with the little that every child touches.
long TouchedKiB(const std::function<bool()>& work) {
  const pid_t child = fork();
  if (child == 0) _exit(work() ? 0 : 1);
  int status = 0;
  rusage usage = {};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) return -1;
  return usage.ru_minflt * (sysconf(_SC_PAGESIZE) / 1024);
}

/// \return our own
long PrintMemory(const std::string& top) {
  const long ours = TouchedKiB([&] { return OurWalkOf(top) > 0; });
  std::printf("    memory touched, KiB: nothing done %ld, ours %ld, fts %ld, std::filesystem %ld\n",
              TouchedKiB([] { return true; }), ours, TouchedKiB([&] { return FtsWalk(top) > 0; }),
              TouchedKiB([&] { return FilesystemWalk(top) > 0; }));
  std::fflush(stdout);
  return ours;
}

// What is known of the goals that are missed.
constexpr const char* kNoteOfFts =
    "The bare system calls alone take 0.71 to 0.86 of it. One call less a folder was the last that could be saved: the "
    "stream that an iterator shows is the C library's, and its opendir and readdir by themselves take 0.85 to 0.91 of "
    "fts.";
constexpr const char* kNoteOfFilesystem =
    "It cannot be met: the bare system calls alone, without which there is no listing, take 0.48 to 0.61 of it.";
constexpr const char* kNoteOfFind =
    "The bare system calls alone take 0.55 to 0.62 of it in many folders, where a quiet machine has met the goal with "
    "0.55. In one folder on ext4 it is met with a third.";
constexpr const char* kNoteOfRm =
    "On ext4 runs have given 0.80 to 1.22, most for one large folder; on tmpfs it is met with 0.91 to 0.99. To unlink "
    "what is in a large folder in the order of its inodes took 10 to 15 % less of the processor on ext4 and 2 to 5 % "
    "more "
    "on tmpfs, and was not kept.";

/// What a forest costs us.
struct Cost {
  double entry = 0;  ///< nanoseconds
  long memory = 0;   ///< KiB
};

Cost MeasureWalks(const Forest& forest, const Options& options, Results* results) {
  const auto grove = std::make_shared<Grove>();
  if (!grove->workshop.IsThere() || !Plant(forest, grove->top)) {
    results->NoteFailure("folders: no files to list");
    return {};
  }
  const int entries = forest.Entries();
  const double entry = Measure({"list " + forest.name,
                                {Clock::kFamily},
                                "FolderIteratorAllFiles",
                                Walks(grove, entries, OurWalkOf),
                                {{"fts, without stat", Walks(grove, entries, FtsWalk), 0.85, kNoteOfFts},
                                 {"std::filesystem", Walks(grove, entries, FilesystemWalk), 0.45, kNoteOfFilesystem},
                                 {"find", Finds(grove), 0.6, kNoteOfFind},
                                 Limit("bare getdents64", Walks(grove, entries, BareWalkOf))},
                                entries},
                               options, results);
  return {entry, PrintMemory(grove->top)};
}

// --- Deleting ---

bool OurDeletion(const std::string& folder) { return LFile::DeleteFolderTree(folder.c_str()) == 1; }

bool FilesystemDeletion(const std::string& folder) {
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  return !error;
}

bool Rm(const std::string& folder) { return RunProgram({"rm", "-rf", folder}); }

/// What is deleted is made anew each time, off the clock.
Body Deletions(const Forest& forest, bool (*remove)(const std::string&)) {
  return [=](benchmark::State& state) {
    const Workshop workshop;
    const std::string top = workshop.File("tree");
    for ([[maybe_unused]] auto _ : state) {
      if (!Plant(forest, top)) return state.SkipWithError("no files to delete");
      const FamilyStopwatch stopwatch(state);
      if (!remove(top)) return state.SkipWithError("the folder was not deleted");
    }
  };
}

/// \return our time for an entry
double MeasureDeletions(const Forest& forest, int repetitions, const Options& options, Results* results) {
  return Measure({.title = "delete " + forest.name,
                  .clocks = {Clock::kFamily},
                  .name = "DeleteFolderTree",
                  .body = Deletions(forest, OurDeletion),
                  .peers = {{"rm -rf", Deletions(forest, Rm), 1.0, kNoteOfRm},
                            {"std::filesystem::remove_all", Deletions(forest, FilesystemDeletion)}},
                  .items = forest.Entries(),
                  .repetitions = repetitions},
                 options, results);
}

/// An entry of ten times as many may take a little more: fewer of them are in a cache.
void ShowGrowth(const std::string& what, double few, double many, Results* results) {
  if (few <= 0 || many <= 0) return results->NoteFailure("folders: growth, " + what);
  const double growth = many / few;
  const Bound bound = {what + ": an entry of 200,000 through one of 20,000", "", growth, growth, growth, 1.5};
  std::printf("    %s: %.2f  (<= %.2f  %s)\n", bound.what.c_str(), growth, bound.goal, bound.IsMet() ? "yes" : "NO");
  std::fflush(stdout);
  results->Add(bound);
}

void AddGrowthOfMemory(long few, long many, Results* results) {
  if (few < 0 || many < 0) return results->NoteFailure("folders: growth, memory");
  constexpr double some_pages = 64;
  const auto growth = static_cast<double>(many - few);
  results->Add({"list: memory touched, more for 200,000 than for 20,000", "KiB", growth, growth, growth, some_pages});
}

}  // namespace

void RunFoldersFamily(const Options& options, Results* results) {
  PrintHead("folders");
  const Forest many_folders = {"20,000 files in 200 folders", 200, 100};
  const Forest few = {"20,000 files in one", 1, 20000}, many = {"200,000 files in one", 1, 200000};
  MeasureWalks(many_folders, options, results);
  const Cost little = MeasureWalks(few, options, results);
  // Planting takes longer than deleting.
  if (options.quick) {
    MeasureDeletions({"2,000 files in 20 folders", 20, 100}, 3, options, results);
    MeasureDeletions({"2,000 files in one", 1, 2000}, 3, options, results);
    return results->NoteLeftOut("200,000 files listed, 20,000 and 200,000 deleted; growth and memory", kQuickly);
  }
  const Cost much = MeasureWalks(many, options, results);
  ShowGrowth("list", little.entry, much.entry, results);
  AddGrowthOfMemory(little.memory, much.memory, results);
  MeasureDeletions(many_folders, 7, options, results);
  const double one_of_few = MeasureDeletions(few, 7, options, results);
  ShowGrowth("delete", one_of_few, MeasureDeletions(many, 3, options, results), results);
}

}  // namespace bench
