#include "options.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <system_error>

namespace worker {

namespace {

constexpr const char* kHelp = R"(usage: worker [--below N] [--threads N]

Counts the primes below a number with worker threads, while the main thread shows how far they are.

  --below N     count below this number, 2 to 100000000 (3000000)
  --threads N   so many threads, 1 to 1000 (2)
  --help        this text

Ctrl-C and SIGTERM stop the threads.
Exit status: 0 counted, 1 a thread could not be started, 2 wrong use, 130 after Ctrl-C or SIGTERM.
)";

std::nullopt_t Mistake(const std::string& text) {
  std::fprintf(stderr, "worker: %s\nworker --help lists what there is.\n", text.c_str());
  return std::nullopt;
}

bool ReadNumber(const char* text, unsigned int least, unsigned int most, unsigned int* number) {
  const char* const end = text + std::strlen(text);
  const auto [rest, error] = std::from_chars(text, end, *number);
  return error == std::errc() && rest == end && *number >= least && *number <= most;
}

}  // namespace

std::optional<Options> ReadCommandLine(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string flag = argv[i];
    if (flag == "--help" || flag == "-h") {
      std::fputs(kHelp, stdout);
      std::exit(0);
    }
    const bool is_below = flag == "--below";
    if (!is_below && flag != "--threads") return Mistake("'" + flag + "' is not expected");
    if (++i == argc) return Mistake(flag + " needs a number");
    const bool good =
        is_below ? ReadNumber(argv[i], 2, 100000000, &options.below) : ReadNumber(argv[i], 1, 1000, &options.threads);
    if (!good) return Mistake(flag + ": '" + argv[i] + "' is no number that it takes");
  }
  return options;
}

}  // namespace worker
