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

  long Entries() const { return static_cast<long>(folders) * files + folders; }
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
      if (walk(grove->top) != entries) return state.SkipWithError("not every entry was found");
    }
  };
}

Body Finds(const std::shared_ptr<Grove>& grove) {
  return [=](benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
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

/// \return the memory of our walk in KiB
long MeasureWalks(const Forest& forest, const Options& options, Goals* goals) {
  const auto grove = std::make_shared<Grove>();
  if (!grove->workshop.IsThere() || !Plant(forest, grove->top)) {
    goals->NoteFailure("folders: no files to list");
    return 0;
  }
  const long entries = forest.Entries();
  Measure({"list " + forest.name,
           {Clock::kWall},
           "FolderIteratorAllFiles",
           Walks(grove, entries, OurWalkOf),
           {{"fts, without stat", Walks(grove, entries, FtsWalk), 0.85},
            {"std::filesystem", Walks(grove, entries, FilesystemWalk), 0.45},
            {"find", Finds(grove), 0.6}},
           static_cast<int>(entries)},
          options, goals);
  return PrintMemory(grove->top);
}

// --- Deleting ---

bool OurDeletion(const std::string& folder) { return LFile::DeleteFolderTree(folder.c_str()) == 1; }

bool FilesystemDeletion(const std::string& folder) {
  std::error_code error;
  std::filesystem::remove_all(folder, error);
  return !error;
}

bool Rm(const std::string& folder) { return RunProgram({"rm", "-rf", folder}); }

Body Deletions(const Forest& forest, bool (*remove)(const std::string&)) {
  return [=](benchmark::State& state) {
    const Workshop workshop;
    const std::string top = workshop.File("tree");
    for ([[maybe_unused]] auto _ : state) {
      state.PauseTiming();
      const bool is_planted = Plant(forest, top);
      state.ResumeTiming();
      if (!is_planted || !remove(top)) return state.SkipWithError("the folder was not deleted");
    }
  };
}

void MeasureDeletions(const Forest& forest, const Options& options, Goals* goals) {
  Measure(
      {"delete " + forest.name,
       {Clock::kWall},
       "DeleteFolderTree",
       Deletions(forest, OurDeletion),
       {{"rm -rf", Deletions(forest, Rm), 1.0}, {"std::filesystem::remove_all", Deletions(forest, FilesystemDeletion)}},
       static_cast<int>(forest.Entries())},
      options, goals);
}

}  // namespace

void RunFoldersFamily(const Options& options, Goals* goals) {
  PrintHead("folders");
  const Forest many_folders = {"20,000 files in 200 folders", 200, 100};
  const Forest few = {"20,000 files in one", 1, 20000}, many = {"200,000 files in one", 1, 200000};
  MeasureWalks(many_folders, options, goals);
  const long little = MeasureWalks(few, options, goals);
  if (!options.quick) {
    const long much = MeasureWalks(many, options, goals);
    constexpr long some_pages = 64;
    goals->Note("folders: listing ten times as many entries takes no more memory", much <= little + some_pages);
  }
  // Planting takes longer than deleting.
  MeasureDeletions(options.quick ? Forest{"2,000 files in 20 folders", 20, 100} : many_folders, options, goals);
  MeasureDeletions(options.quick ? Forest{"2,000 files in one", 1, 2000} : few, options, goals);
}

}  // namespace bench
