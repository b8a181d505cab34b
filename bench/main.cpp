#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>

#include "families.h"

namespace {

struct Family {
  const char* name;
  void (*run)(const bench::Options&, bench::Goals*);
};

constexpr Family kFamilies[] = {
    {"signal", bench::RunSignalFamily},
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
    {"copies", bench::RunCopiesFamily},
    {"bookmarks", bench::RunBookmarksFamily},
    {"processes", bench::RunProcessesFamily},
    {"commands", bench::RunCommandsFamily},
    {"net", bench::RunNetFamily},
    {"tick", bench::RunTickFamily},
    {"signal", bench::RunSignalFamily},       {"events", bench::RunEventsFamily},
    {"dispatch", bench::RunDispatchFamily},   {"threads", bench::RunThreadsFamily},
    {"locks", bench::RunLocksFamily},         {"format", bench::RunFormatFamily},
    {"charsets", bench::RunCharsetsFamily},   {"strings", bench::RunStringsFamily},
    {"textfiles", bench::RunTextFilesFamily}, {"paths", bench::RunPathsFamily},
    {"files", bench::RunFilesFamily},         {"folders", bench::RunFoldersFamily},
    {"copies", bench::RunCopiesFamily},       {"processes", bench::RunProcessesFamily},
    {"commands", bench::RunCommandsFamily},   {"net", bench::RunNetFamily},
    {"tick", bench::RunTickFamily},           {"named", bench::RunNamedFamily},
};

struct CommandLine {
  bench::Options options;
  std::string only;
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
    } else {
      std::fprintf(stderr, "run_bench: '%s' is no option\n", argument.c_str());
      line.is_valid = false;
    }
  }
  return line;
}

void PrintUsage(std::FILE* file) {
  std::fputs("usage: run_bench [--quick] [--only=FAMILY]\nfamilies:", file);
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
  bench::Goals goals;
  for (const Family& family : kFamilies) {
    if (line.only.empty() || line.only == family.name) family.run(line.options, &goals);
  }
  goals.Print();
  return goals.HasFailed() ? 1 : 0;
}
