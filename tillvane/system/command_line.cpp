#include <cstddef>
#include <cstring>
#include <memory>
#include <utility>

#include <tillvane/system/LCommandLine.h>

int gargc = 0;
char** gargv = nullptr;

namespace {

/// What this file has allocated, whatever the host has made of gargv since. It stays until the process is gone: what
/// runs at its very end may still read its arguments.
char** allocated = nullptr;

bool IsSerialNumber(int index, const char* argument) { return index == 1 && std::strncmp(argument, "-psn", 4) == 0; }

}  // namespace

void LUnixAppCopyCommandLineArguments(int argc, char** argv) {
  const std::size_t room = argc > 0 ? static_cast<std::size_t>(argc) + 1 : 1;
  auto copy = std::make_unique<char*[]>(room);
  int count = 0;
  for (int i = 0; i < argc; ++i) {
    if (!IsSerialNumber(i, argv[i])) copy[static_cast<std::size_t>(count++)] = argv[i];
  }
  // The last one goes only now: its arguments may be those that were copied.
  const std::unique_ptr<char*[]> last(std::exchange(allocated, copy.release()));
  gargc = count;
  gargv = allocated;
}

void LRemoveCommandLineArgument(int index) {
  if (index < 0 || index >= gargc) return;
  --gargc;
  for (int i = index; i < gargc; ++i) gargv[i] = gargv[i + 1];
  gargv[gargc] = nullptr;
}
