#pragma once

#include <cstdint>
#include <random>

#include <tests/support/threads.h>

/// \file
/// Cases made up from a seed: the same ones in every run, on every machine.

namespace support {

/// So many made-up cases: a million, less where a sanitizer makes each of them slow.
inline int SeededCases() {
#ifdef TILLVANE_SANITIZED
  return Rounds(50'000);
#else
  return Rounds(1'000'000);
#endif
}

class Seeded {
 public:
  explicit Seeded(std::uint64_t seed) : engine_(seed) {}
  std::uint64_t Bits() { return engine_(); }
  /// 0 to `limit` - 1.
  unsigned int Below(unsigned int limit) { return static_cast<unsigned int>(engine_() % limit); }

 private:
  std::mt19937_64 engine_;
};

}  // namespace support
