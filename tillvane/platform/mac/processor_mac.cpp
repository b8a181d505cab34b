#include <sys/sysctl.h>

#include <cstddef>

#include <tillvane/platform/processor.h>

namespace platform {

namespace {

/// The kernel counts what it saves for a thread, too; what it does not know is not there.
bool Has(const char* name) {
  int has = 0;
  std::size_t size = sizeof has;
  return sysctlbyname(name, &has, &size, nullptr, 0) == 0 && has != 0;
}

}  // namespace

bool HasAvx2() { return Has("hw.optional.avx2_0"); }

bool HasAvx512Bytes() { return Has("hw.optional.avx512bw"); }

}  // namespace platform
