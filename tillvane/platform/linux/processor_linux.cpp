#include <tillvane/platform/processor.h>

namespace platform {

// The compiler's own constructor, which asks the processor, may come later than the caller.

bool HasAvx2() {
#if defined(__x86_64__)
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}

bool HasAvx512Bytes() {
#if defined(__x86_64__)
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx512bw");
#else
  return false;
#endif
}

}  // namespace platform
