#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <tillvane/files/LFile.h>
#include <tillvane/files/LProcessCopyFile.h>

#include "families.h"
#include "programs.h"

namespace bench {

namespace {

/// Copies one path to another. \return whether it succeeded
using Copier = bool (*)(const std::string& source, const std::string& destination);

bool OurCopy(const std::string& source, const std::string& destination) {
  LProcessInterfaceVoid process;
  return Process(process, {source.c_str(), destination.c_str()}) == 0;
}

bool OurFileCopy(const std::string& source, const std::string& destination) {
  return LFile::CopyFile(source.c_str(), destination.c_str()) == 1;
}

bool FilesystemCopy(const std::string& source, const std::string& destination) {
  std::error_code error;
  return std::filesystem::copy_file(source, destination, error);
}

bool Cp(const std::string& source, const std::string& destination) { return RunProgram({"cp", source, destination}); }

template <class Move>
bool BareCopy(const std::string& source, const std::string& destination, Move move) {
  const int from = open(source.c_str(), O_RDONLY | O_CLOEXEC);
  const int to = open(destination.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  ssize_t moved = 0;
  do {
    moved = move(from, to);
  } while (moved > 0);
  close(from);
  close(to);
  return moved == 0;
}

bool RangeCopy(const std::string& source, const std::string& destination) {
  return BareCopy(source, destination, [](int from, int to) {
    return copy_file_range(from, nullptr, to, nullptr, std::size_t{1} << 30, 0);
  });
}

bool PlainCopy(const std::string& source, const std::string& destination) {
  return BareCopy(source, destination, [](int from, int to) -> ssize_t {
    char bytes[32768];
    const ssize_t got = read(from, bytes, sizeof bytes);
    return got <= 0 || write(to, bytes, static_cast<std::size_t>(got)) == got ? got : -1;
  });
}

/// What `copy` makes is thrown away while the clock stands still.
Body Copies(const std::shared_ptr<Workshop>& workshop, Copier copy) {
  return [=](benchmark::State& state) {
    const std::string source = workshop->File("source"), destination = workshop->File("copy");
    for ([[maybe_unused]] auto _ : state) {
      if (!copy(source, destination)) return state.SkipWithError("the file was not copied");
      state.PauseTiming();
      unlink(destination.c_str());
      state.ResumeTiming();
    }
  };
}

bool MakeSource(const Workshop& workshop, std::size_t size) {
  std::vector<char> bytes(std::size_t{1} << 20);
  std::uint32_t random = 1;
  for (char& byte : bytes) byte = static_cast<char>((random = random * 1664525 + 1013904223) >> 24);
  const int file = open(workshop.File("source").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  bool is_whole = true;
  for (std::size_t left = size; left > 0 && is_whole; left -= bytes.size()) {
    is_whole = write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
  }
  // What is still to be written to the disk would be written while the copies are measured.
  fsync(file);
  close(file);
  return is_whole;
}

void MeasureCopies(const std::string& size_name, std::size_t size, double range_goal, double cp_goal,
                   const Options& options, Results* results) {
  const auto workshop = std::make_shared<Workshop>();
  if (!workshop->IsThere() || !MakeSource(*workshop, size)) return results->NoteFailure("copies: no file to copy");
  Measure({"copy " + size_name,
           {Clock::kWall},
           "Process, with progress",
           Copies(workshop, OurCopy),
           {Limit("copy_file_range, all at once", Copies(workshop, RangeCopy), range_goal),
            {"cp", Copies(workshop, Cp), cp_goal},
            {"std::filesystem::copy_file", Copies(workshop, FilesystemCopy)},
            {"read and write, 32768 bytes", Copies(workshop, PlainCopy)},
            {"CopyFile", Copies(workshop, OurFileCopy)}}},
          options, results);
}

// --- Folders ---

bool OurFolderCopy(const std::string& source, const std::string& destination) {
  LFile::CopyFolderFiles(source.c_str(), destination.c_str());
  return true;
}

bool FilesystemFolderCopy(const std::string& source, const std::string& destination) {
  std::error_code error;
  std::filesystem::copy(source, destination, std::filesystem::copy_options::recursive, error);
  return !error;
}

bool CpFolder(const std::string& source, const std::string& destination) {
  return RunProgram({"cp", "-R", source, destination});
}

Body FolderCopies(const std::shared_ptr<Workshop>& workshop, Copier copy) {
  return [=](benchmark::State& state) {
    const std::string destination = workshop->File("copy");
    for ([[maybe_unused]] auto _ : state) {
      const bool is_copied = copy(workshop->File("tree"), destination);
      state.PauseTiming();
      std::error_code error;
      const bool is_whole = std::filesystem::exists(destination + "/9/99", error);
      std::filesystem::remove_all(destination, error);
      state.ResumeTiming();
      if (!is_copied || !is_whole) return state.SkipWithError("the folder was not copied");
    }
  };
}

void MeasureFolderCopies(const Options& options, Results* results) {
  const auto workshop = std::make_shared<Workshop>();
  const std::string text(1000, 'x');
  for (int i = 0; i < 10; ++i) {
    const std::string folder = workshop->File("tree/" + std::to_string(i));
    std::filesystem::create_directories(folder);
    for (int j = 0; j < 100; ++j) {
      const int file = open((folder + '/' + std::to_string(j)).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
      if (write(file, text.data(), text.size()) < 0) return results->NoteFailure("copies: no folder to copy");
      close(file);
    }
  }
  Measure({"copy 1000 files in 10 folders",
           {Clock::kWall},
           "CopyFolderFiles",
           FolderCopies(workshop, OurFolderCopy),
           {{"cp -R", FolderCopies(workshop, CpFolder)},
            {"std::filesystem::copy", FolderCopies(workshop, FilesystemFolderCopy)}}},
          options, results);
}

}  // namespace

void RunCopiesFamily(const Options& options, Results* results) {
  PrintHead("copies");
  constexpr std::size_t mebibyte = std::size_t{1} << 20;
  MeasureCopies("1 MiB", mebibyte, 0, 0, options, results);
  MeasureCopies("64 MiB", 64 * mebibyte, 1.1, 1.0, options, results);
  if (options.quick) {
    results->NoteLeftOut("1 GiB copied", kQuickly);
  } else {
    MeasureCopies("1 GiB", 1024 * mebibyte, 1.1, 1.0, options, results);
  }
  MeasureFolderCopies(options, results);
}

}  // namespace bench
