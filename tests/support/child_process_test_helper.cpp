#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

/// What a child may do: `exit CODE`, `signal NUMBER`, `hang`, `write BYTES`, `environment NAME`, `input`.
int main(int argc, char** argv) {
  const std::string what = argc > 1 ? argv[1] : "";
  const char* argument = argc > 2 ? argv[2] : "";
  // The library, which is linked into it, makes an ordinary exit of it.
  signal(SIGTERM, SIG_DFL);
  if (what == "exit") return std::atoi(argument);
  if (what == "signal") raise(std::atoi(argument));
  if (what == "hang") {
    std::printf("ready\n");
    std::fflush(stdout);
    for (;;) pause();
  }
  if (what == "write") {
    std::fputs(std::string(static_cast<unsigned long>(std::atol(argument)), 'o').c_str(), stdout);
    std::fputs("an error", stderr);
    return 0;
  }
  if (what == "environment") {
    const char* value = std::getenv(argument);
    std::fputs(value != nullptr ? value : "none", stdout);
    return 0;
  }
  if (what == "input") return std::getchar() == EOF ? 0 : 1;
  return 100;
}
