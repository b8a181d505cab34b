// Loads the library named by its first argument, lets it leave the marker of a run, which is the second one, unloads
// it, and says each time whether it is mapped and the marker there.

#include <dlfcn.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

bool IsMapped(const std::string& path) {
  const std::string name = path.substr(path.rfind('/') + 1);
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find(name) != std::string::npos) return true;
  }
  return false;
}

void Tell(const char* library, const char* marker) {
  std::printf("mapped %d, marker %d\n", IsMapped(library), access(marker, F_OK) == 0);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  auto* const init = reinterpret_cast<void (*)()>(dlsym(library, "_Z22LDebugHangDetectorInitv"));
  if (init == nullptr) return 1;
  init();
  Tell(argv[1], argv[2]);
  if (dlclose(library) != 0) return 1;
  Tell(argv[1], argv[2]);
  return 0;
}
