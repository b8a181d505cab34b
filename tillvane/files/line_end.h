#pragma once

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// \file
/// Looks for LF and CR at the same time. `memchr`, which knows one character, would read a file of CRs to its end for
/// each line.

namespace files {

/// Eight bytes at once, on any processor.
struct WordBlock {
  static constexpr unsigned int kSize = 8;

  /// The index of the first LF or CR among `kSize` bytes; `kSize` where there is none.
  static unsigned int Find(const char* from) {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t ones = 0x0101010101010101;
    std::uint64_t word;
    std::memcpy(&word, from, sizeof word);
    // A byte that became 0 gets its highest bit; above the first such byte a borrow may mark others.
    const std::uint64_t lf = word ^ '\n' * ones, cr = word ^ '\r' * ones;
    const std::uint64_t marks = (((lf - ones) & ~lf) | ((cr - ones) & ~cr)) & 0x80 * ones;
    return static_cast<unsigned int>(std::countr_zero(marks)) / 8;
  }
};

#ifdef __SSE2__
/// 32 bytes at once.
struct Sse2Block {
  static constexpr unsigned int kSize = 32;

  static unsigned int Find(const char* from) {
    return static_cast<unsigned int>(std::countr_zero(Marks(from) | Marks(from + 16) << 16));
  }

 private:
  /// A bit for each of 16 bytes.
  static unsigned int Marks(const char* from) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i lf = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')), cr = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r'));
    return static_cast<unsigned int>(_mm_movemask_epi8(_mm_or_si128(lf, cr)));
  }
};
using LineEndBlock = Sse2Block;
#else
using LineEndBlock = WordBlock;
#endif

/// The first LF or CR; `end` where there is none.
template <class Block = LineEndBlock>
const char* FindLineEnd(const char* at, const char* end) {
  for (; end - at >= static_cast<std::ptrdiff_t>(Block::kSize); at += Block::kSize) {
    const unsigned int index = Block::Find(at);
    if (index != Block::kSize) return at + index;
  }
  return std::find_if(at, end, [](char character) { return character == '\n' || character == '\r'; });
}

}  // namespace files
