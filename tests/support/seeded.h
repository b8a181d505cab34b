#pragma once

#include <concepts>
#include <cstdint>
#include <random>
#include <type_traits>

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
  template <std::integral Limit>
  std::make_unsigned_t<Limit> Below(Limit limit) {
    return static_cast<std::make_unsigned_t<Limit>>(engine_() % static_cast<std::uint64_t>(limit));
  }

 private:
  std::mt19937_64 engine_;
};

}  // namespace support
