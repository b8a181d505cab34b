#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

namespace text {

/// What any x86-64 processor can do at once: see utf8_loops.h.
struct Sse2Lanes {
  static constexpr unsigned int kWindow = 16;

  static std::uint64_t Others(const unsigned char* from) {
    return Bits(Load(from), 0) | Bits(Load(from + 16), 16) | Bits(Load(from + 32), 32) | Bits(Load(from + 48), 48);
  }

  template <class Unit>
  static std::uint64_t NarrowBlock(const Unit* from, char* to) {
    std::uint64_t others = 0;
    for (int i = 0; i < 64; i += kWindow) {
      Narrow(from + i, to + i);
      others |= OthersOf16(from + i) << i;
    }
    return others;
  }

  static void Widen(const unsigned char* from, unsigned short* to) {
    const __m128i bytes = Load(from);
    Store(_mm_unpacklo_epi8(bytes, _mm_setzero_si128()), to);
    Store(_mm_unpackhi_epi8(bytes, _mm_setzero_si128()), to + 8);
  }

  static void Widen(const unsigned char* from, wchar_t* to) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i bytes = Load(from);
    const __m128i low = _mm_unpacklo_epi8(bytes, zero);
    const __m128i high = _mm_unpackhi_epi8(bytes, zero);
    Store(_mm_unpacklo_epi16(low, zero), to);
    Store(_mm_unpackhi_epi16(low, zero), to + 4);
    Store(_mm_unpacklo_epi16(high, zero), to + 8);
    Store(_mm_unpackhi_epi16(high, zero), to + 12);
  }

  static void Narrow(const unsigned short* from, char* to) { Store(_mm_packus_epi16(Load(from), Load(from + 8)), to); }

  static void Narrow(const wchar_t* from, char* to) {
    Store(
        _mm_packus_epi16(_mm_packs_epi32(Load(from), Load(from + 4)), _mm_packs_epi32(Load(from + 8), Load(from + 12))),
        to);
  }

  template <class Unit>
  static bool DecodeThrees(const unsigned char* from, Unit* to) {
    return DecodeThreesOf(_mm_setr_epi32(Word(from), Word(from + 3), Word(from + 6), Word(from + 9)), to);
  }

  template <class Unit>
  static bool DecodeFours(const unsigned char* from, Unit* to) {
    const __m128i bytes = Load(from);
    const __m128i value = _mm_or_si128(_mm_or_si128(_mm_and_si128(_mm_slli_epi32(bytes, 18), All(0x1C0000)),
                                                    _mm_and_si128(_mm_slli_epi32(bytes, 4), All(0x3F000))),
                                       _mm_or_si128(_mm_and_si128(_mm_srli_epi32(bytes, 10), All(0xFC0)),
                                                    _mm_and_si128(_mm_srli_epi32(bytes, 24), All(0x3F))));
    const __m128i has_marks =
        _mm_cmpeq_epi32(_mm_and_si128(bytes, All(static_cast<int>(0xC0C0C0F8))), All(static_cast<int>(0x808080F0)));
    const __m128i is_legal = _mm_and_si128(_mm_cmpgt_epi32(value, All(0xFFFF)), _mm_cmplt_epi32(value, All(0x110000)));
    if (!IsAll(_mm_and_si128(has_marks, is_legal))) return false;
    StoreFour(value, to);
    return true;
  }

  template <class Unit>
  static bool EncodeThrees(const Unit* from, char* to) {
    __m128i bytes;
    if (!ThreesOf(from, &bytes)) return false;
    // Each word is stored over the byte that the one before has too much.
    for (int i = 0; i < 4; ++i) {
      const int word = _mm_cvtsi128_si32(bytes);
      std::memcpy(to + 3 * i, &word, sizeof word);
      bytes = _mm_srli_si128(bytes, 4);
    }
    return true;
  }

  static bool EncodeFours(const unsigned short*, char*) { return false; }

  static bool EncodeFours(const wchar_t* from, char* to) {
    const __m128i value = Load(from);
    const __m128i is_four = _mm_and_si128(_mm_cmpgt_epi32(value, All(0xFFFF)), _mm_cmplt_epi32(value, All(0x110000)));
    if (!IsAll(is_four)) return false;
    const __m128i first = _mm_or_si128(_mm_srli_epi32(value, 18), _mm_and_si128(_mm_srli_epi32(value, 4), All(0x3F00)));
    const __m128i second = _mm_or_si128(_mm_and_si128(_mm_slli_epi32(value, 10), All(0x3F0000)),
                                        _mm_and_si128(_mm_slli_epi32(value, 24), All(0x3F000000)));
    Store(_mm_or_si128(_mm_or_si128(first, second), All(static_cast<int>(0x808080F0))), to);
    return true;
  }

  static constexpr unsigned int kVector = 16;

  static bool CountVectors(const unsigned char* at, unsigned long vectors, unsigned long* count) {
    const unsigned long all = vectors * kVector;
    const __m128i zero = _mm_setzero_si128();
    // Only the highest bit of a byte says that something is wrong.
    __m128i wrong = zero, largest = zero, others = zero;
    for (; vectors > 0; --vectors, at += kVector) {
      const __m128i bytes = Load(at);
      const __m128i must_continue = _mm_or_si128(_mm_or_si128(_mm_subs_epu8(Load(at - 1), AllBytes(0xC0 - 0x80)),
                                                              _mm_subs_epu8(Load(at - 2), AllBytes(0xE0 - 0x80))),
                                                 _mm_subs_epu8(Load(at - 3), AllBytes(0xF0 - 0x80)));
      const __m128i continues = _mm_cmplt_epi8(bytes, AllBytes(0xC0));
      wrong = _mm_or_si128(wrong, _mm_xor_si128(must_continue, continues));
      largest = _mm_max_epu8(largest, bytes);
      others = _mm_sub_epi8(others, continues);
    }
    // Sequences of five and six bytes are not counted here.
    wrong = _mm_or_si128(wrong, _mm_subs_epu8(largest, AllBytes(0xF8 - 0x80)));
    const __m128i sums = _mm_sad_epu8(others, zero);
    *count = all - static_cast<unsigned long>(_mm_cvtsi128_si64(_mm_add_epi64(sums, _mm_unpackhi_epi64(sums, sums))));
    return _mm_movemask_epi8(wrong) == 0;
  }

  static std::uint64_t Continuations(const unsigned char* at) {
    return Bits(_mm_cmplt_epi8(Load(at), AllBytes(0xC0)), 0);
  }

 protected:
  static __m128i All(int value) { return _mm_set1_epi32(value); }
  static __m128i AllBytes(int value) { return _mm_set1_epi8(static_cast<char>(value)); }
  static bool IsAll(__m128i truth) { return _mm_movemask_epi8(truth) == 0xFFFF; }

  static __m128i Load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
  static void Store(__m128i lanes, void* to) { _mm_storeu_si128(static_cast<__m128i*>(to), lanes); }

  static int Word(const unsigned char* from) {
    int word;
    std::memcpy(&word, from, sizeof word);
    return word;
  }

  /// The highest bit of each byte, at a place in a block.
  static std::uint64_t Bits(__m128i bytes, int place) {
    return static_cast<std::uint64_t>(static_cast<std::uint32_t>(_mm_movemask_epi8(bytes))) << place;
  }

  static std::uint64_t OthersOf16(const unsigned short* from) { return OthersOf16(Load(from), Load(from + 8)); }

  static std::uint64_t OthersOf16(const wchar_t* from) {
    // What does not fit 16 bits becomes the largest or the smallest number that does.
    return OthersOf16(_mm_packs_epi32(Load(from), Load(from + 4)), _mm_packs_epi32(Load(from + 8), Load(from + 12)));
  }

  static std::uint64_t OthersOf16(__m128i low, __m128i high) {
    const __m128i beyond = _mm_set1_epi16(static_cast<short>(0xFF80));
    const __m128i zero = _mm_setzero_si128();
    const __m128i is_ascii = _mm_packs_epi16(_mm_cmpeq_epi16(_mm_and_si128(low, beyond), zero),
                                             _mm_cmpeq_epi16(_mm_and_si128(high, beyond), zero));
    return Bits(is_ascii, 0) ^ 0xFFFF;
  }

  static void StoreFour(__m128i values, wchar_t* to) { Store(values, to); }

  /// The low 16 bits of each.
  static void StoreFour(__m128i values, unsigned short* to) {
    // With its sign, so that nothing is too large for the smaller lane.
    const __m128i low = _mm_srai_epi32(_mm_slli_epi32(values, 16), 16);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packs_epi32(low, low));
  }

  /// \param bytes each lane has a sequence in its lower three bytes
  template <class Unit>
  static bool DecodeThreesOf(__m128i bytes, Unit* to) {
    const __m128i value = _mm_or_si128(_mm_or_si128(_mm_and_si128(_mm_slli_epi32(bytes, 12), All(0xF000)),
                                                    _mm_and_si128(_mm_srli_epi32(bytes, 2), All(0xFC0))),
                                       _mm_and_si128(_mm_srli_epi32(bytes, 16), All(0x3F)));
    const __m128i has_marks = _mm_cmpeq_epi32(_mm_and_si128(bytes, All(0xC0C0F0)), All(0x8080E0));
    const __m128i is_surrogate = _mm_cmpeq_epi32(_mm_and_si128(value, All(0xF800)), All(0xD800));
    const __m128i is_legal = _mm_andnot_si128(is_surrogate, _mm_cmpgt_epi32(value, All(0x7FF)));
    if (!IsAll(_mm_and_si128(has_marks, is_legal))) return false;
    StoreFour(value, to);
    return true;
  }

  static __m128i LoadFour(const wchar_t* from) { return Load(from); }
  static __m128i LoadFour(const unsigned short* from) {
    return _mm_unpacklo_epi16(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(from)), _mm_setzero_si128());
  }

  /// Encodes four units to the lower three bytes of each lane. \return whether they take three bytes each
  template <class Unit>
  static bool ThreesOf(const Unit* from, __m128i* bytes) {
    const __m128i value = LoadFour(from);
    const __m128i is_three = _mm_and_si128(_mm_cmpgt_epi32(value, All(0x7FF)), _mm_cmplt_epi32(value, All(0x10000)));
    if (!IsAll(is_three)) return false;
    *bytes = _mm_or_si128(_mm_or_si128(_mm_srli_epi32(value, 12), _mm_and_si128(_mm_slli_epi32(value, 2), All(0x3F00))),
                          _mm_or_si128(_mm_and_si128(_mm_slli_epi32(value, 16), All(0x3F0000)), All(0x8080E0)));
    return true;
  }
};

}  // namespace text
