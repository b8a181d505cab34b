#include <tillvane/platform/processor.h>

#include <sys/sysctl.h>

#include <cstddef>

#include <tillvane/platform/mac/processor_mac.h>

namespace platform {

bool HasProcessorFeature(const char* name) {
  int has = 0;
  std::size_t size = sizeof has;
  return sysctlbyname(name, &has, &size, nullptr, 0) == 0 && has != 0;
}

// The kernel counts what it saves for a thread, too.
bool HasAvx2() { return HasProcessorFeature("hw.optional.avx2_0"); }

bool HasAvx512Bytes() { return HasProcessorFeature("hw.optional.avx512bw"); }

}  // namespace platform
