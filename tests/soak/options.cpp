#include "options.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <system_error>

namespace soak {

namespace {

constexpr const char* kHelp = R"(usage: soak [--seconds N] [--window N]

A host that uses the whole library at once, on all processors, for a given time, and watches what it takes: memory,
descriptors, threads, semaphores, children, files, and how long its main loop stands still.

  --seconds N   for so long, 1 to 1000000 (3600)
  --window N    so many seconds between two quiet points, at which the counts must be what they were at the first;
                1 to 3600 (a twenty-fourth of the whole time, but a minute at most)
  --help        this text

Ctrl-C, SIGTERM and SIGHUP end it early, with its report. Exit status: 0 nothing grew and every result was right, 1 otherwise,
2 wrong use.
)";

struct LeakName {
  const char* name;
  Leak leak;
};

/// Not in the help, as --patience is not: for the test of the watch itself.
constexpr LeakName kLeaks[] = {
    {"child", Leak::kChild},   {"descriptor", Leak::kDescriptor}, {"file", Leak::kFile},
    {"hang", Leak::kHang},     {"main-hang", Leak::kMainHang},    {"mapping", Leak::kMapping},
    {"memory", Leak::kMemory}, {"semaphore", Leak::kSemaphore},   {"shared-memory", Leak::kSharedMemory},
    {"thread", Leak::kThread}};

constexpr const char* kFlags[] = {"--leak", "--patience", "--seconds", "--window"};

std::nullopt_t Mistake(const std::string& text) {
  std::fprintf(stderr, "soak: %s\nsoak --help lists what there is.\n", text.c_str());
  return std::nullopt;
}

bool ReadNumber(const char* text, unsigned int most, unsigned int* number) {
  const char* const end = text + std::strlen(text);
  const auto [rest, error] = std::from_chars(text, end, *number);
  return error == std::errc() && rest == end && *number >= 1 && *number <= most;
}

bool ReadLeak(const std::string& name, std::vector<Leak>* leaks) {
  const auto* const found =
      std::find_if(std::begin(kLeaks), std::end(kLeaks), [&](const LeakName& one) { return name == one.name; });
  if (found == std::end(kLeaks)) return false;
  leaks->push_back(found->leak);
  return true;
}

bool ReadValue(const std::string& flag, const char* value, Options* options) {
  if (flag == "--seconds") return ReadNumber(value, 1000000, &options->seconds);
  if (flag == "--window") return ReadNumber(value, 3600, &options->window);
  if (flag == "--patience") return ReadNumber(value, 3600, &options->patience);
  return ReadLeak(value, &options->leaks);
}

}  // namespace

unsigned int Options::WindowSeconds() const {
  constexpr unsigned int most = 60, windows = 24;
  return window != 0 ? window : std::clamp(seconds / windows, 1U, most);
}

std::optional<Options> ReadCommandLine(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string flag = argv[i];
    if (flag == "--help" || flag == "-h") {
      std::fputs(kHelp, stdout);
      std::exit(0);
    }
    if (std::find(std::begin(kFlags), std::end(kFlags), flag) == std::end(kFlags))
      return Mistake("'" + flag + "' is not expected");
    if (++i == argc) return Mistake(flag + " needs a value");
    if (!ReadValue(flag, argv[i], &options)) return Mistake(flag + ": '" + argv[i] + "' is nothing that it takes");
  }
  return options;
}

}  // namespace soak
