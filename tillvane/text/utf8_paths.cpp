#include <cstddef>

#include <tillvane/platform/processor.h>
#include <tillvane/text/utf8_loops.h>
#include <tillvane/text/utf8_paths.h>
#include <tillvane/text/utf8_plain.h>
#if defined(__x86_64__)
#include <tillvane/text/utf8_avx2_lanes.h>
#include <tillvane/text/utf8_avx512_lanes.h>
#include <tillvane/text/utf8_sse2_lanes.h>
#elif defined(__AARCH64EL__)
#include <tillvane/text/utf8_neon_lanes.h>
#endif

namespace text {

namespace {

template <class Here>
constexpr Utf8Path PathOf(const char* name) {
  return {name,
          Here::template Decode<wchar_t>,
          Here::template Decode<unsigned short>,
          Here::template Encode<wchar_t>,
          Here::template Encode<unsigned short>,
          Here::Walk};
}

#if defined(__x86_64__)

constexpr Utf8Path kPaths[] = {PathOf<PlainLoops>("plain"), PathOf<Loops<Sse2Lanes>>("SSE2"),
                               PathOf<Loops<Avx2Lanes>>("AVX2"), PathOf<Loops<Avx512Lanes>>("AVX-512")};

std::size_t CountPaths() {
  if (!platform::HasAvx2()) return 2;
  return platform::HasAvx512Bytes() ? 4 : 3;
}

#elif defined(__AARCH64EL__)

constexpr Utf8Path kPaths[] = {PathOf<PlainLoops>("plain"), PathOf<Loops<NeonLanes>>("NEON")};

std::size_t CountPaths() { return 2; }

#else

constexpr Utf8Path kPaths[] = {PathOf<PlainLoops>("plain")};

std::size_t CountPaths() { return 1; }

#endif

}  // namespace

std::span<const Utf8Path> Utf8Paths() {
  static const std::span<const Utf8Path> paths(kPaths, CountPaths());
  return paths;
}

const Utf8Path& FastestUtf8Path() { return Utf8Paths().back(); }

}  // namespace text
