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
  static constexpr std::ptrdiff_t kSize = 8;
  static constexpr int kBitsPerByte = 8;

  /// `kBitsPerByte` bits for each of `kSize` bytes: the lowest bit that is set is among those of the first LF or CR.
  static std::uint64_t Marks(const char* from) {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t ones = 0x0101010101010101;
    std::uint64_t word;
    std::memcpy(&word, from, sizeof word);
    // A byte that became 0 gets its highest bit; above the first such byte a borrow may mark others.
    const std::uint64_t lf = word ^ '\n' * ones, cr = word ^ '\r' * ones;
    return (((lf - ones) & ~lf) | ((cr - ones) & ~cr)) & 0x80 * ones;
  }
};

#ifdef __SSE2__
/// 32 bytes at once.
struct Sse2Block {
  static constexpr std::ptrdiff_t kSize = 32;
  static constexpr int kBitsPerByte = 1;

  static std::uint32_t Marks(const char* from) { return MarksOf16(from) | MarksOf16(from + 16) << 16; }

 private:
  static std::uint32_t MarksOf16(const char* from) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    const __m128i lf = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\n')), cr = _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\r'));
    return static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_or_si128(lf, cr)));
  }
};
using LineEndBlock = Sse2Block;
#else
using LineEndBlock = WordBlock;
#endif

/// The first LF or CR; `end` where there is none.
template <class Block = LineEndBlock>
const char* FindLineEnd(const char* at, const char* end) {
  for (; end - at >= Block::kSize; at += Block::kSize) {
    const auto marks = Block::Marks(at);
    if (marks != 0) return at + std::countr_zero(marks) / Block::kBitsPerByte;
  }
  return std::find_if(at, end, [](char character) { return character == '\n' || character == '\r'; });
}

}  // namespace files
