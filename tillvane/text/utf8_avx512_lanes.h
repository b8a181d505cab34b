#pragma once

#include <immintrin.h>

#include <tillvane/text/utf8_avx2_lanes.h>

namespace text {

/// What a processor with AVX-512 for bytes can do at once: it counts faster. See utf8_loops.h.
struct Avx512Lanes : Avx2Lanes {
  static constexpr unsigned int kVector = 64;

  [[gnu::target("avx512bw,popcnt")]] static bool CountVectors(const unsigned char* at, unsigned long vectors,
                                                              unsigned long* count) {
    __m512i largest = _mm512_setzero_si512();
    __mmask64 wrong = 0;
    *count = 0;
    for (; vectors > 0; --vectors, at += kVector) {
      const __m512i bytes = LoadWhole(at);
      const __m512i must_continue =
          _mm512_or_si512(_mm512_or_si512(_mm512_subs_epu8(LoadWhole(at - 1), AllWhole(0xC0 - 0x80)),
                                          _mm512_subs_epu8(LoadWhole(at - 2), AllWhole(0xE0 - 0x80))),
                          _mm512_subs_epu8(LoadWhole(at - 3), AllWhole(0xF0 - 0x80)));
      const __mmask64 continues = _mm512_cmplt_epi8_mask(bytes, AllWhole(0xC0));
      wrong |= _mm512_movepi8_mask(must_continue) ^ continues;
      largest = _mm512_max_epu8(largest, bytes);
      *count += static_cast<unsigned long>(std::popcount(~static_cast<std::uint64_t>(continues)));
    }
    // Sequences of five and six bytes are not counted here.
    return (wrong | _mm512_cmpge_epu8_mask(largest, AllWhole(0xF8))) == 0;
  }

  [[gnu::target("avx512bw")]] static std::uint64_t Continuations(const unsigned char* at) {
    return _mm512_cmplt_epi8_mask(LoadWhole(at), AllWhole(0xC0));
  }

 private:
  [[gnu::target("avx512bw")]] static __m512i AllWhole(int value) { return _mm512_set1_epi8(static_cast<char>(value)); }
  [[gnu::target("avx512bw")]] static __m512i LoadWhole(const void* from) { return _mm512_loadu_si512(from); }
};

template <>
struct Loops<Avx512Lanes> : Loops<Avx2Lanes> {
  [[gnu::target("avx512bw,popcnt")]] static Walked Walk(const unsigned char* text, const unsigned char* end,
                                                        unsigned long most) {
    return WalkLoop<Avx512Lanes>(text, end, most);
  }
};

}  // namespace text
