#pragma once

#include <immintrin.h>

#include <tillvane/text/utf8_loops.h>
#include <tillvane/text/utf8_sse2_lanes.h>

namespace text {

/// What a processor with AVX2 can do at once: see utf8_loops.h.
struct Avx2Lanes : Sse2Lanes {
  static constexpr unsigned int kWindow = 32;

  [[gnu::target("avx2")]] static std::uint64_t Others(const unsigned char* from) {
    return Bits(LoadWide(from)) | Bits(LoadWide(from + 32)) << 32;
  }

  template <class Unit>
  [[gnu::target("avx2")]] static std::uint64_t NarrowBlock(const Unit* from, char* to) {
    __m256i units[4];
    for (int i = 0; i < 4; ++i) units[i] = Load16(from + 16 * i);
    const __m256i any = _mm256_or_si256(_mm256_or_si256(units[0], units[1]), _mm256_or_si256(units[2], units[3]));
    const bool is_ascii = _mm256_testz_si256(any, _mm256_set1_epi16(static_cast<short>(0xFF80))) != 0;
    if (!is_ascii) {
      // Each as a byte that is not ASCII where it is not.
      for (__m256i& lanes : units) lanes = _mm256_min_epu16(lanes, _mm256_set1_epi16(0xFF));
    }
    const __m256i low = InOrder(_mm256_packus_epi16(units[0], units[1]), from);
    const __m256i high = InOrder(_mm256_packus_epi16(units[2], units[3]), from);
    StoreWide(low, to);
    StoreWide(high, to + 32);
    return is_ascii ? 0 : Bits(low) | Bits(high) << 32;
  }

  [[gnu::target("avx2")]] static void Widen(const unsigned char* from, unsigned short* to) {
    for (unsigned int i = 0; i < kWindow; i += 16) StoreWide(_mm256_cvtepu8_epi16(Load(from + i)), to + i);
  }

  [[gnu::target("avx2")]] static void Widen(const unsigned char* from, wchar_t* to) {
    for (unsigned int i = 0; i < kWindow; i += 8) {
      const auto* const eight = reinterpret_cast<const __m128i*>(from + i);
      StoreWide(_mm256_cvtepu8_epi32(_mm_loadl_epi64(eight)), to + i);
    }
  }

  template <class Unit>
  [[gnu::target("avx2")]] static void Narrow(const Unit* from, char* to) {
    StoreWide(InOrder(_mm256_packus_epi16(Load16(from), Load16(from + 16)), from), to);
  }

  template <class Unit>
  [[gnu::target("avx2")]] static bool DecodeThrees(const unsigned char* from, Unit* to) {
    const __m128i spread = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    return DecodeThreesOf(_mm_shuffle_epi8(Load(from), spread), to);
  }

  template <class Unit>
  [[gnu::target("avx2")]] static bool EncodeThrees(const Unit* from, char* to) {
    __m128i bytes;
    if (!ThreesOf(from, &bytes)) return false;
    const __m128i close = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    Store(_mm_shuffle_epi8(bytes, close), to);
    return true;
  }

  static constexpr unsigned int kVector = 32;

  [[gnu::target("avx2")]] static bool CountVectors(const unsigned char* at, unsigned long vectors,
                                                   unsigned long* count) {
    const unsigned long all = vectors * kVector;
    const __m256i zero = _mm256_setzero_si256();
    // Only the highest bit of a byte says that something is wrong.
    __m256i wrong = zero, largest = zero, others = zero;
    for (; vectors > 0; --vectors, at += kVector) {
      const __m256i bytes = LoadWide(at);
      const __m256i must_continue =
          _mm256_or_si256(_mm256_or_si256(_mm256_subs_epu8(LoadWide(at - 1), AllWide(0xC0 - 0x80)),
                                          _mm256_subs_epu8(LoadWide(at - 2), AllWide(0xE0 - 0x80))),
                          _mm256_subs_epu8(LoadWide(at - 3), AllWide(0xF0 - 0x80)));
      const __m256i continues = _mm256_cmpgt_epi8(AllWide(0xC0), bytes);
      wrong = _mm256_or_si256(wrong, _mm256_xor_si256(must_continue, continues));
      largest = _mm256_max_epu8(largest, bytes);
      others = _mm256_sub_epi8(others, continues);
    }
    // Sequences of five and six bytes are not counted here.
    wrong = _mm256_or_si256(wrong, _mm256_subs_epu8(largest, AllWide(0xF8 - 0x80)));
    const __m256i sums = _mm256_sad_epu8(others, zero);
    const __m128i halves = _mm_add_epi64(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1));
    *count =
        all - static_cast<unsigned long>(_mm_cvtsi128_si64(_mm_add_epi64(halves, _mm_unpackhi_epi64(halves, halves))));
    return _mm256_movemask_epi8(wrong) == 0;
  }

  [[gnu::target("avx2")]] static std::uint64_t Continuations(const unsigned char* at) {
    return Bits(_mm256_cmpgt_epi8(AllWide(0xC0), LoadWide(at)));
  }

 private:
  [[gnu::target("avx2")]] static __m256i AllWide(int value) { return _mm256_set1_epi8(static_cast<char>(value)); }
  [[gnu::target("avx2")]] static __m256i LoadWide(const void* from) {
    return _mm256_loadu_si256(static_cast<const __m256i*>(from));
  }
  [[gnu::target("avx2")]] static void StoreWide(__m256i lanes, void* to) {
    _mm256_storeu_si256(static_cast<__m256i*>(to), lanes);
  }

  /// The highest bit of each byte.
  [[gnu::target("avx2")]] static std::uint64_t Bits(__m256i bytes) {
    return static_cast<std::uint32_t>(_mm256_movemask_epi8(bytes));
  }

  /// Sixteen units in lanes of 16 bits. What does not fit becomes the largest or the smallest number that does.
  [[gnu::target("avx2")]] static __m256i Load16(const unsigned short* from) { return LoadWide(from); }
  [[gnu::target("avx2")]] static __m256i Load16(const wchar_t* from) {
    return _mm256_packs_epi32(LoadWide(from), LoadWide(from + 8));
  }

  /// Each half was packed for itself: puts 32 bytes in the order in which their units were loaded.
  [[gnu::target("avx2")]] static __m256i InOrder(__m256i bytes, const unsigned short*) {
    return _mm256_permute4x64_epi64(bytes, 0xD8);
  }
  [[gnu::target("avx2")]] static __m256i InOrder(__m256i bytes, const wchar_t*) {
    return _mm256_permutevar8x32_epi32(bytes, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
  }
};

/// The loops, compiled for it.
template <>
struct Loops<Avx2Lanes> {
  template <class Unit>
  [[gnu::target("avx2")]] static Decoded<Unit> Decode(const unsigned char* from, const unsigned char* end, Unit* to) {
    return DecodeLoop<Avx2Lanes>(from, end, to);
  }
  template <class Unit>
  [[gnu::target("avx2")]] static Encoded<Unit> Encode(const Unit* from, const Unit* end, char* to, unsigned long room) {
    return EncodeLoop<Avx2Lanes>(from, end, to, room);
  }
  [[gnu::target("avx2")]] static Walked Walk(const unsigned char* text, const unsigned char* end, unsigned long most) {
    return WalkLoop<Avx2Lanes>(text, end, most);
  }
};

}  // namespace text
