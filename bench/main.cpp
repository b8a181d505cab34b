#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>

#include "families.h"

namespace {

struct Family {
  const char* name;
  void (*run)(const bench::Options&, bench::Results*);
};

constexpr Family kFamilies[] = {
    {"signal", bench::RunSignalFamily},
    {"named", bench::RunNamedFamily},
    {"events", bench::RunEventsFamily},
    {"dispatch", bench::RunDispatchFamily},
    {"threads", bench::RunThreadsFamily},
    {"locks", bench::RunLocksFamily},
    {"format", bench::RunFormatFamily},
    {"charsets", bench::RunCharsetsFamily},
    {"strings", bench::RunStringsFamily},
    {"textfiles", bench::RunTextFilesFamily},
    {"paths", bench::RunPathsFamily},
    {"files", bench::RunFilesFamily},
    {"folders", bench::RunFoldersFamily},
    {"special_folders", bench::RunSpecialFoldersFamily},
    {"bookmarks", bench::RunBookmarksFamily},
    {"copies", bench::RunCopiesFamily},
    {"processes", bench::RunProcessesFamily},
    {"commands", bench::RunCommandsFamily},
    {"net", bench::RunNetFamily},
    {"tick", bench::RunTickFamily},
};

struct CommandLine {
  bench::Options options;
  std::string only;
  std::string json;  ///< the file for the results; empty for none
  bool is_valid = true;
  bool wants_help = false;
};

bool IsFamily(const std::string& name) {
  for (const Family& family : kFamilies) {
    if (name == family.name) return true;
  }
  return false;
}

CommandLine Parse(int argc, char** argv) {
  CommandLine line;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--quick") {
      line.options.quick = true;
    } else if (argument == "--help") {
      line.wants_help = true;
    } else if (argument.rfind("--only=", 0) == 0 && IsFamily(argument.substr(std::strlen("--only=")))) {
      line.only = argument.substr(std::strlen("--only="));
    } else if (argument.rfind("--json=", 0) == 0) {
      line.json = argument.substr(std::strlen("--json="));
    } else {
      std::fprintf(stderr, "run_bench: '%s' is no option\n", argument.c_str());
      line.is_valid = false;
    }
  }
  return line;
}

void PrintUsage(std::FILE* file) {
  std::fputs("usage: run_bench [--quick] [--only=FAMILY] [--json=FILE]\nfamilies:", file);
  for (const Family& family : kFamilies) std::fprintf(file, " %s", family.name);
  std::fputs("\n", file);
}

void InitialiseBenchmark(char* program) {
  char interleave[] = "--benchmark_enable_random_interleaving=true";
  char* arguments[] = {program, interleave, nullptr};
  int count = static_cast<int>(std::size(arguments)) - 1;
  benchmark::Initialize(&count, arguments);
}

}  // namespace

int main(int argc, char** argv) {
  const CommandLine line = Parse(argc, argv);
  if (!line.is_valid || line.wants_help) {
    PrintUsage(line.is_valid ? stdout : stderr);
    return line.is_valid ? 0 : 2;
  }
  InitialiseBenchmark(argv[0]);
  bench::Results results;
  for (const Family& family : kFamilies) {
    if (!line.only.empty() && line.only != family.name) continue;
    results.BeginFamily(family.name);
    family.run(line.options, &results);
    // After each, so that a run that is interrupted leaves what it has.
    if (!line.json.empty() && !results.Write(line.json, line.options.quick, line.only)) {
      std::fprintf(stderr, "run_bench: '%s' could not be written\n", line.json.c_str());
      return 1;
    }
  }
  results.Print();
  return results.HasFailed() ? 1 : 0;
}
