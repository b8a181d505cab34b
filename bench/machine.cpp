#include "machine.h"

#include <gnu/libc-version.h>
#include <stdlib.h>
#include <sys/utsname.h>

#include <filesystem>
#include <system_error>

#include <tillvane/platform/volume.h>

#include "cpu.h"

namespace bench {

namespace {

std::string Kernel() {
  utsname names = {};
  if (uname(&names) != 0) return "unknown";
  return std::string(names.sysname) + ' ' + names.release + ", " + names.machine;
}

std::string FileSystemOfTemporaryFiles() {
  std::error_code error;
  const std::string name = platform::VolumeFileSystemName(std::filesystem::temp_directory_path(error).c_str());
  return name.empty() ? "unknown" : name;
}

}  // namespace

std::array<double, 3> Load() {
  std::array<double, 3> load = {-1, -1, -1};
  getloadavg(load.data(), static_cast<int>(load.size()));
  return load;
}

Machine ThisMachine() {
  return {static_cast<int>(AllowedCpus().size()), Kernel(), TILLVANE_BENCH_COMPILER, gnu_get_libc_version(),
          FileSystemOfTemporaryFiles()};
}

}  // namespace bench
