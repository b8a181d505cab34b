// Loads the library named by its argument, unloads it, and says each time whether it is mapped.

#include <dlfcn.h>

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

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    std::fprintf(stderr, "%s\n", dlerror());
    return 1;
  }
  std::printf("mapped %d\n", IsMapped(argv[1]));
  if (dlclose(library) != 0) return 1;
  std::printf("mapped %d\n", IsMapped(argv[1]));
  return 0;
}
